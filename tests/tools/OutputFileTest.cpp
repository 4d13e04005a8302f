#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tools/Failure.h>
#include <tools/OutputFile.h>
#include <unistd.h>

#include "Program.h"

namespace ondrix::tools {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

void write(OutputFile& file, const char* text) {
    std::fputs(text, file.stream());
}

std::string content(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A name that stands for half a file, a file that stays after a failure, an earlier file that is lost.
TEST(OutputFile, AppearsOnlyWhenKept) {
    const Workspace folder;
    const std::string path = folder.write("out", "before");
    {
        OutputFile dropped(path);
        write(dropped, "half");
        EXPECT_THAT(folder.names(), SizeIs(2));
    }
    EXPECT_THAT(folder.names(), ElementsAre("out"));
    EXPECT_EQ(content(path), "before");

    OutputFile kept(path);
    write(kept, "after");
    kept.keep();
    EXPECT_THAT(folder.names(), ElementsAre("out"));
    EXPECT_EQ(content(path), "after");
}

TEST(OutputFile, KeepsModeAndLinkOfTheFileThatItReplaces) {
    const Workspace folder;
    const std::string path = folder.write("target", "");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    std::filesystem::create_symlink("target", folder.file("link"));
    OutputFile file(folder.file("link"));
    write(file, "text");
    file.keep();
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
    EXPECT_EQ(content(path), "text");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0640});
}

// A full disk that shows only when the last bytes are written out.
TEST(OutputFile, ReportsWhatTheDiskRefuses) {
    OutputFile file("/dev/full");
    write(file, "text");
    EXPECT_THROW(file.keep(), Failure);
}

TEST(OutputFile, InterruptionLeavesNothingBehind) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const Workspace folder;
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            OutputFile file(folder.file("out"));
            write(file, "half");
            raise(signal);
            _exit(0);
        }
        int state = 0;
        ASSERT_EQ(waitpid(child, &state, 0), child);
        EXPECT_TRUE(WIFSIGNALED(state) && WTERMSIG(state) == signal) << state;
        EXPECT_THAT(folder.names(), IsEmpty());
    }
}

}  // namespace
}  // namespace ondrix::tools
