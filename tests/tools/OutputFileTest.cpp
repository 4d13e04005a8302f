#include <sys/stat.h>
#include <tools/system/OutputFile.h>

#include "Program.h"

namespace ondrix::tools {
namespace {

using testing::ElementsAre;

using OutputFileTest = ProgramTest;

// A name that stands for half a file, a file that stays after a failure, an earlier file that is lost, a link
// or a mode that isn't kept.
TEST_F(OutputFileTest, AppearsOnlyWhenKept) {
    (void)folder.write("out.png", "before");
    ASSERT_EQ(chmod(out.c_str(), 0640), 0);
    std::filesystem::create_symlink("out.png", file("link"));
    {
        OutputFile dropped(file("link"));
        std::fputs("half", dropped.stream());
        EXPECT_THAT(names(), ElementsAre("link", "out.png"));
    }
    EXPECT_THAT(names(), ElementsAre("link", "out.png"));
    EXPECT_EQ(content(out), "before");

    OutputFile kept(file("link"));
    std::fputs("after", kept.stream());
    kept.keep();
    EXPECT_THAT(names(), ElementsAre("link", "out.png"));
    EXPECT_EQ(content(out), "after");
    EXPECT_EQ(std::filesystem::status(out).permissions(), std::filesystem::perms{0640});
}

}  // namespace
}  // namespace ondrix::tools
