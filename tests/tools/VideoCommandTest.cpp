// Movies through the program, and what a user reads when that can't be.
#include <tests/media/Clip.h>

#include <ondrix/platform/ffmpeg/MovieReader.h>

#include "Program.h"

namespace {

using namespace ondrix;
using testing::AllOf;
using testing::Each;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using testing::UnorderedElementsAre;

class VideoCommand : public ProgramTest {
protected:
    /// 64 x 48 pixels; frame n has the luma 40 + 20 n, and its left half is 16.
    std::string movie(std::vector<std::int64_t> times, const char* name = "movie.mkv") const {
        test::Clip clip;
        clip.times = std::move(times);
        clip.matrix = AVCOL_SPC_BT709;
        clip.range = AVCOL_RANGE_MPEG;
        clip.value = [](int frame, int plane, int x, int) {
            if (plane != 0) return 128;
            return x < 32 ? 16 : 40 + 20 * frame;
        };
        clip.write(file(name));
        return file(name);
    }
    Picture picture(const std::string& path) const {
        const test::LoadedPicture loaded{URL(path)};
        return loaded.texture ? test::PictureTexture::read(*loaded.texture) : Picture(1, 1);
    }
    /// Green of a grey of video range, which is what the right half of frame `index` becomes.
    static int level(int index) { return (24 + 20 * index) * 255 / 219; }
    static auto near(int wanted) { return AllOf(Ge(wanted - 2), Le(wanted + 2)); }

    const std::string moved = file("moved.mkv");
};

// Times that are rounded or made regular, a frame twice or never, a turn the other way, a file left beside the result.
TEST_F(VideoCommand, DrawsEveryFrameAtItsTime) {
    const std::vector<std::int64_t> times{0, 40, 45, 300, 1000};
    const Outcome outcome = runOndrix(
        {"video", movie(times), moved, "--rotate", "90", "--size", "96x128", "--quality", "0", "--progress", "json"});
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, HasSubstr("\"frames\":5,"));
    EXPECT_THAT(names(), UnorderedElementsAre("movie.mkv", "moved.mkv"));

    const auto reader = MovieReader::open(URL(moved), MovieFrameFormat::BGRA, nullptr);
    ASSERT_NE(reader, nullptr);
    for (std::size_t index = 0; index < times.size(); ++index) {
        const auto frame = reader->copyNextSampleBuffer();
        ASSERT_NE(frame, nullptr) << index;
        EXPECT_EQ(CMTimeCompare(CMSampleBufferGetPresentationTimeStamp(*frame), CMTimeMake(times[index], 1000)), 0);
        const auto pixels = CMSampleBufferGetImageBuffer(*frame);
        EXPECT_EQ(CVPixelBufferGetWidth(*pixels), 96);
        EXPECT_EQ(CVPixelBufferGetHeight(*pixels), 128);
        test::forEachElement(*pixels, 0, 4, [&](const std::uint8_t* pixel, Int x, Int y) {
            if (x != 48 || (y != 20 && y != 108)) return;
            EXPECT_THAT(int{pixel[1]}, near(y == 20 ? 0 : level(static_cast<int>(index)))) << index;
        });
    }
    EXPECT_EQ(reader->copyNextSampleBuffer(), nullptr);
}

// The frame after, the nearest key frame, or a time that counts from the file's zero.
TEST_F(VideoCommand, SavesTheFrameOnScreen) {
    const std::string clip = movie({500, 600, 700, 800});
    for (const auto& [at, index] : {std::pair("0", 0), {"0.1", 1}, {"0.199", 1}, {"0.2", 2}, {"0.3", 3}}) {
        const Outcome outcome = runOndrix({"frame", clip, out, "--at", at});
        EXPECT_EQ(outcome.output + outcome.errors, "") << at;
        EXPECT_THAT(picture(out).at(48, 24, 1), near(level(index))) << at;
    }
    expectReason(runOndrix({"frame", clip, out, "--at", "1"}), clip, "before 1.000 s");
    const Outcome sheet = runOndrix({"sheet", clip, out, "--columns", "2", "--rows", "2", "--size", "32x24"});
    EXPECT_EQ(sheet.output + sheet.errors, "");
    // The last frame lasts a millisecond.
    const int shown[] = {0, 1, 1, 2};
    for (const int cell : {0, 1, 2, 3})
        EXPECT_THAT(picture(out).at(cell % 2 * 32 + 24, cell / 2 * 24 + 12, 1), near(level(shown[cell])));
}

#ifdef EXAMPLE_MOVIE
TEST_F(VideoCommand, IsAnExampleToo) {
    const Outcome outcome = runProgram(EXAMPLE_MOVIE, {movie({0, 40, 300}), moved});
    EXPECT_EQ(outcome.errors, "");
    const auto reader = MovieReader::open(URL(moved), MovieFrameFormat::native, nullptr);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->information().width, 640);
    for (const std::int64_t time : {0, 40, 300}) {
        const auto frame = reader->copyNextSampleBuffer();
        ASSERT_NE(frame, nullptr) << time;
        EXPECT_EQ(CMTimeCompare(CMSampleBufferGetPresentationTimeStamp(*frame), CMTimeMake(time, 1000)), 0);
    }
}
#endif

// Effects and a function in the wrong order, or over the frame instead of what was drawn.
TEST_F(VideoCommand, RunsEffectsAndThenTheFunction) {
    const std::vector<std::string> arguments{
        "video",       movie({0, 40}),      moved,       "--effect",          "colour=exposure=8",
        "--effect",    "vignette=radius=1", "--library", ONDRIX_TEST_LIBRARY, "--function",
        "Test::Invert"};
    EXPECT_EQ(runOndrix(arguments).errors, "");
    EXPECT_EQ(runOndrix({"frame", moved, out, "--at", "0"}).errors, "");
    EXPECT_THAT(picture(out).at(48, 24, 1), near(0));    // made white, then black
    EXPECT_THAT(picture(out).at(16, 24, 1), near(255));  // was black
}

// A movie that is lost, that can't be played, that never ends, or that begins when its camera was switched on.
TEST_F(VideoCommand, AnInterruptionCompletesTheMovie) {
    const Outcome outcome =
        runProgram("/bin/bash", {"-c",
                                 "mkfifo \"$2.lines\"; \"$1\" video lavfi:testsrc2=s=64x48,setpts=PTS+9/TB \"$2\" "
                                 "--progress json >\"$2.lines\" & exec 3<\"$2.lines\"; read -r <&3; "
                                 "kill -TERM $!; wait $!",
                                 "bash", ONDRIX_PROGRAM, moved});
    EXPECT_EQ(outcome.status, 130);
    EXPECT_THAT(outcome.errors, HasSubstr(moved + ": interrupted; the movie ends after "));
    const auto reader = MovieReader::open(URL(moved), MovieFrameFormat::native, nullptr);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(CMTimeCompare(reader->information().start, kCMTimeZero), 0);
    EXPECT_NE(reader->copyNextSampleBuffer(), nullptr);
}

TEST_F(VideoCommand, SaysInOneLineWhatIsWrong) {
    const std::string clip = movie({0, 40});
    expectReason(runOndrix({"video", folder.write("in", "no movie"), moved}), in, "not a movie");
    expectReason(runOndrix({"video", clip, file("out.xyz")}), file("out.xyz"), "\"xyz\"");
    expectReason(runOndrix({"video", clip, file("missing/out.mp4")}), file("missing/out.mp4"), "No such file");
    expectReason(runOndrix({"video", clip, moved, "--preset", "none-such"}), moved, "none-such");
    expectReason(runOndrix({"video", clip, moved, "--library", ONDRIX_TEST_LIBRARY, "--function", "No"}),
                 ONDRIX_TEST_LIBRARY);
    std::filesystem::create_symlink("/dev/full", file("full.mkv"));
    expectReason(runOndrix({"video", clip, file("full.mkv")}), file("full.mkv"),
                 "at 0.040 s: the file can't be written: no space left on device");
    EXPECT_EQ(runOndrix({"video", clip, moved, "--size", "33x20"}).status, 2);
    EXPECT_THAT(names(), UnorderedElementsAre("full.mkv", "in", "movie.mkv"));
}

}  // namespace
