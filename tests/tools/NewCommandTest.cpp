// The project that `ondrix new` writes. That it builds and runs is what the test of the installed package shows.
#include "Program.h"

namespace {

namespace fs = std::filesystem;

class NewCommand : public ProgramTest {
protected:
    NewCommand() { fs::current_path(folder.path()); }
    ~NewCommand() override { fs::current_path(before_); }

private:
    const fs::path before_ = fs::current_path();
};

// A file left out, a name that was not put in everywhere, or something unfinished beside it.
TEST_F(NewCommand, WritesAProjectOfThatNameIntoAnEmptyFolderOrANewOne) {
    (void)folder.makeFolder("two_2");
    for (const std::string& name : std::vector<std::string>{"first-light", "two_2"}) {
        EXPECT_EQ(runOndrix({"new", name}).status, 0);
        const std::string paths[] = {"CMakeLists.txt", "README.md", "main.cpp", "functions/" + name + ".cpp"};
        for (const std::string& path : paths) {
            const std::string text = content(file(name + "/" + path));
            EXPECT_NE(text.find(name), std::string::npos) << path;
            EXPECT_EQ(text.find("starter"), std::string::npos) << path;
        }
    }
    EXPECT_EQ(names(), (std::set<std::string>{"first-light", "two_2"}));
}

// Somebody's work overwritten.
TEST_F(NewCommand, LeavesWhatIsThereAsItIs) {
    (void)folder.write("mine/main.cpp", "mine");
    (void)folder.write("file", "mine");
    for (const char* name : {"mine", "file"}) expectReason(runOndrix({"new", name}), name, "exists already");
    EXPECT_EQ(content(file("mine/main.cpp")) + content(file("file")), "minemine");
    EXPECT_EQ(names(), (std::set<std::string>{"mine", "file"}));
}

}  // namespace
