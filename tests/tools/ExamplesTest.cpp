// The programs that people copy do what they say.
#include <algorithm>
#include <array>

#include "Program.h"

#ifdef EXAMPLE_MOVIE
#include <tests/media/Frames.h>
#endif

namespace {

using testing::HasSubstr;

class Examples : public ProgramTest {
protected:
    /// Of noise, but for its first pixel: red 12, green 200, blue 90.
    static Picture picture() {
        Picture picture = Picture::noise(320, 200, 1);
        std::ranges::copy(std::array{90, 200, 12, 255}, picture.bytes.begin());
        return picture;
    }

    const std::string input = folder.write("in.png", png(picture()));
};

TEST_F(Examples, StillPrintsAPixelOfTheScaledPicture) {
    EXPECT_EQ(runProgram(EXAMPLE_STILL, {input}).output, "top left: red 12, green 200, blue 90\n");
    const Outcome failure = runProgram(EXAMPLE_STILL, {file("missing.png")}, {"ONDRIX_LOG=off"});
    EXPECT_EQ(failure.status, 1);
    EXPECT_THAT(failure.errors, testing::AllOf(HasSubstr("missing.png"), HasSubstr("o such file")));
}

// The program's own library isn't found; the constants don't reach the function; rows are saved wrongly.
TEST_F(Examples, StillShaderSavesTheDarkenedPicture) {
    EXPECT_EQ(runProgram(EXAMPLE_STILL_SHADER, {input, out, "0.5"}).status, 0);
    Picture expected = picture();
    for (std::size_t i = 0; i < expected.bytes.size(); ++i)
        if (i % 4 != 3)
            expected.bytes[i] = static_cast<std::uint8_t>((expected.bytes[i] + 1) / 2);  // half a level rounds up
    EXPECT_EQ(shown(), expected);
    EXPECT_EQ(runProgram(EXAMPLE_STILL_SHADER, {file("missing.png"), out, "1"}).status, 1);
}

// Rows or planes are mixed up on the way in or out, a frame shows the one before, the last one is lost.
TEST_F(Examples, OwnMemoryMirrorsEveryFrameOfItsInput) {
    const auto run = [this](const std::string& frames) {
        const std::string path = folder.write("frames", frames);
        return runProgram("/bin/sh", {"-c", "exec '" EXAMPLE_OWN_MEMORY "' 3 2 <'" + path + "'"});
    };
    const auto grey = [](int luma) { return static_cast<char>((luma - 16) * 1.164 + 0.5); };  // without colour
    std::string frames, expected;
    for (const int first : {20, 100}) {
        for (int i = 0; i < 6; ++i) frames += static_cast<char>(first + 10 * i);
        frames += "\x80\x80\x80\x80";
        for (const int i : {2, 1, 0, 5, 4, 3}) expected += std::string(3, grey(first + 10 * i)) + '\xff';
    }
    const Outcome outcome = run(frames);
    ASSERT_EQ(outcome.output.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_NEAR(static_cast<std::uint8_t>(outcome.output[i]), static_cast<std::uint8_t>(expected[i]), 2) << i;
    EXPECT_EQ(run(frames + "cut").status, 1);
}

#ifdef EXAMPLE_MOVIE
// A frame that is lost on the way, shown at another time, or lost with the success that scripts rely on.
TEST_F(Examples, MovieKeepsEveryFrameOrSaysThatItDoesNot) {
    using namespace ondrix::test;
    Clip clip = numbered("mpeg4", {1, 25}, evenTimes(25));
    clip.times.back() = 40;
    const std::string whole = clip.write(file("whole.mkv")), small = file("small.mkv");
    EXPECT_EQ(runProgram(EXAMPLE_MOVIE, {whole, small}).status, 0);
    const Samples samples = readAll(*open(small));
    ASSERT_EQ(samples.size(), clip.times.size());
    EXPECT_EQ(CVPixelBufferGetWidth(*imageOf(samples[0])), 640);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        EXPECT_EQ(numberIn(imageOf(samples[i])), static_cast<int>(i));
        EXPECT_EQ(CMTimeCompare(timeOf(samples[i]), ondrix::CMTimeMake(clip.times[i], 25)), 0);
    }
    const Outcome failure = runProgram(EXAMPLE_MOVIE, {whole, file("no/folder.mp4")}, {"ONDRIX_LOG=off"});
    EXPECT_EQ(failure.status, 1);
    EXPECT_EQ(failure.errors, file("no/folder.mp4") + ": the file can't be made: no such file or directory\n");
}
#endif

#ifdef EXAMPLE_WINDOW
// The view hands out no second drawable, or a draw fails.
TEST_F(Examples, WindowDrawsWithoutADisplay) {
    EXPECT_EQ(runProgram(EXAMPLE_WINDOW, {input, "5"}).output, "5 frames\n");
    EXPECT_THAT(runProgram(EXAMPLE_WINDOW, {input}, {"SDL_VIDEODRIVER=none"}).errors, HasSubstr("no window: "));
}
#endif

}  // namespace
