// The programs that people copy do what they say.
#include <gtest/gtest.h>

#include "Picture.h"
#include "Program.h"

namespace {

TEST(Examples, StillPrintsAPixelOfTheSmallPicture) {
    const Workspace folder;
    Picture picture = Picture::noise(320, 200, true);
    picture.at(0, 0) = {12, 200, 90, 255};
    const Outcome outcome = runProgram(EXAMPLE_STILL, {folder.write("in.png", picture.png())});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "top left: red 12, green 200, blue 90\n");
    EXPECT_EQ(runProgram(EXAMPLE_STILL, {folder.file("missing.png")}).status, 1);
}

// The property doesn't reach its pass, the program's own library isn't found, the passes run in the wrong order.
TEST(Examples, OwnShaderDarkensAndTurns) {
    const Workspace folder;
    Picture picture = Picture::noise(33, 21, true);
    picture.at(0, 20) = {200, 100, 40, 255};
    const Outcome outcome = runProgram(EXAMPLE_OWN_SHADER, {folder.write("in.png", picture.png()), "0.5"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "top left: red 100, green 50, blue 20\n");
}

}  // namespace
