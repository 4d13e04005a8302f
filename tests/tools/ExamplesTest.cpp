// The programs that people copy do what they say.
#include <algorithm>

#include "Program.h"

namespace {

using Examples = ProgramTest;

// The property doesn't reach its pass, the program's own library isn't found, the passes run in the wrong order.
TEST_F(Examples, PrintAPixelOfTheSmallOrOfTheDarkenedAndTurnedPicture) {
    Picture picture = Picture::noise(320, 200, 1);
    std::ranges::copy(std::array{90, 200, 12, 255}, picture.bytes.begin());
    std::ranges::copy(std::array{40, 100, 200, 255}, picture.bytes.end() - 320 * 4);
    const std::string input = folder.write("in.png", png(picture));
    EXPECT_EQ(runProgram(EXAMPLE_STILL, {input}).output, "top left: red 12, green 200, blue 90\n");
    EXPECT_EQ(runProgram(EXAMPLE_STILL, {file("missing.png")}).status, 1);
    EXPECT_EQ(runProgram(EXAMPLE_OWN_SHADER, {input, "0.5"}).output, "top left: red 100, green 50, blue 20\n");
}

}  // namespace
