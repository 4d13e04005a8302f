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

// A name that stands for half a file, a file that stays after a failure, an earlier file that is lost, a link
// or a mode that isn't kept.
TEST(OutputFile, AppearsOnlyWhenKept) {
    const Workspace folder;
    const std::string path = folder.write("out", "before");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    std::filesystem::create_symlink("out", folder.file("link"));
    {
        OutputFile dropped(folder.file("link"));
        write(dropped, "half");
        EXPECT_THAT(folder.names(), SizeIs(3));
    }
    EXPECT_THAT(folder.names(), ElementsAre("link", "out"));
    EXPECT_EQ(content(path), "before");

    OutputFile kept(folder.file("link"));
    write(kept, "after");
    kept.keep();
    EXPECT_THAT(folder.names(), ElementsAre("link", "out"));
    EXPECT_EQ(content(path), "after");
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
