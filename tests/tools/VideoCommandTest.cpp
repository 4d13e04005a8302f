// Movies through the program, and what a user reads when that can't be.
#include <algorithm>
#include <cmath>
#include <thread>
#include <tuple>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <tests/media/Frames.h>
#include <unistd.h>

#include "Program.h"

namespace {

using namespace ondrix;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class VideoCommand : public ProgramTest {
protected:
    /// 64 x 48 pixels; frame n has the luma 40 + 20 n, and its left half is 16.
    std::string movie(std::vector<std::int64_t> times) const {
        test::Clip clip;
        clip.times = std::move(times);
        clip.matrix = AVCOL_SPC_BT709;
        clip.range = AVCOL_RANGE_MPEG;
        clip.value = [](int frame, int plane, int x, int) { return plane != 0 ? 128 : x < 32 ? 16 : 40 + 20 * frame; };
        return clip.write(file("movie.mkv"));
    }
    /// Green of a grey of video range, which is what the right half of frame `index` becomes.
    static int level(int index) { return (24 + 20 * index) * 255 / 219; }

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

    const test::Samples frames = test::readAll(*test::open(moved));
    ASSERT_EQ(frames.size(), times.size());
    for (std::size_t index = 0; index < times.size(); ++index) {
        EXPECT_EQ(CMTimeCompare(test::timeOf(frames[index]), CMTimeMake(times[index], 1000)), 0);
        const auto pixels = test::imageOf(frames[index]);
        EXPECT_EQ(CVPixelBufferGetWidth(*pixels), 96);
        const std::vector<int> bytes = test::bytesOf(pixels, 0);
        ASSERT_EQ(bytes.size(), 96u * 128 * 4);
        EXPECT_NEAR(bytes[(20 * 96 + 48) * 4 + 1], 0, 2) << index;
        EXPECT_NEAR(bytes[(108 * 96 + 48) * 4 + 1], level(static_cast<int>(index)), 2) << index;
    }
}

// Colours that are lost or moved on the way of a format's planes, turned, drawn or handed on as they are; chroma of the
// nearest sample, or between samples that lie elsewhere.
TEST_F(VideoCommand, KeepsTheColoursOfEveryFormat) {
    const std::vector<std::vector<std::string>> ways{
        {}, {"--size", "32x24"}, {"--rotate", "90"}, {"--effect", "colour"}};
    constexpr auto bt709 = AVCOL_SPC_BT709;
    constexpr auto video = AVCOL_RANGE_MPEG;
    const std::tuple<AVPixelFormat, int, AVColorSpace, AVColorRange> storages[] = {
        // with the scale of 8 bits
        {AV_PIX_FMT_YUV420P, 1, bt709, video},   {AV_PIX_FMT_YUV420P, 1, AVCOL_SPC_SMPTE170M, video},
        {AV_PIX_FMT_YUV422P, 1, bt709, video},   {AV_PIX_FMT_YUV420P, 1, bt709, AVCOL_RANGE_JPEG},
        {AV_PIX_FMT_YUV444P, 1, bt709, video},   {AV_PIX_FMT_YUV420P10, 4, bt709, video},
        {AV_PIX_FMT_YUV422P10, 4, bt709, video}, {AV_PIX_FMT_YUV420P12, 16, bt709, video}};
    for (const auto& [format, scale, matrix, range] : storages) {
        test::Clip clip{.format = format, .matrix = matrix, .range = range};
        clip.value = [by = scale](int, int plane, int, int) {
            return by * (plane == 0 ? 120 : plane == 1 ? 160 : 100);
        };
        const std::string movie = clip.write(file("movie.mkv"));
        const std::vector<int> exact = test::bytesOf(test::imageOf(test::open(movie)->copyNextSampleBuffer()), 0);
        for (const auto& way : ways) {
            std::vector<std::string> arguments{"video", movie, moved, "--quality", "0"};
            arguments.insert(arguments.end(), way.begin(), way.end());
            EXPECT_EQ(runOndrix(arguments).errors, "");
            const std::vector<int> bytes = test::bytesOf(test::imageOf(test::open(moved)->copyNextSampleBuffer()), 0);
            for (const std::size_t at : {std::size_t{0}, bytes.size() / 8 * 4, bytes.size() - 4}) {
                for (std::size_t i = 0; i < 3; ++i)
                    EXPECT_NEAR(bytes[at + i], exact[i], 2.5)
                        << format << matrix << range << testing::PrintToString(way);
            }
        }
    }
    const auto chroma = [](int plane, int x, int y) { return 128 + (x * 29 + y * 43 + plane * 11) % 81 - 40; };
    test::Clip clip{.matrix = AVCOL_SPC_BT709, .range = AVCOL_RANGE_MPEG};
    clip.value = [&](int, int plane, int x, int y) { return plane == 0 ? 128 : chroma(plane, x, y); };
    EXPECT_EQ(runOndrix({"frame", clip.write(file("movie.mkv")), out, "--at", "0"}).errors, "");
    const Picture picture = shown();
    double error = 0, errorOfNearest = 0;  // sums of squares, of blue and red
    for (int y = 0; y < clip.height; ++y) {
        for (int x = 0; x < clip.width; ++x) {
            for (const int plane : {1, 2}) {
                const auto at = [&](int column, int row) {
                    return chroma(plane, std::clamp(column, 0, 31), std::clamp(row, 0, 23));
                };
                const double down = (y - 0.5) / 2, across = x / 2.0;  // beside the left column, amid the rows
                const int row = static_cast<int>(std::floor(down)), column = x / 2;
                const double ofRow = down - row, ofColumn = across - column;
                const double exact =
                    (1 - ofRow) * ((1 - ofColumn) * at(column, row) + ofColumn * at(column + 1, row)) +
                    ofRow * ((1 - ofColumn) * at(column, row + 1) + ofColumn * at(column + 1, row + 1));
                const auto shownFor = [&](double sample) {
                    return std::clamp(112 * 255 / 219.0 + (sample - 128) * 255 / 224 * (plane == 1 ? 1.8556 : 1.5748),
                                      0.0, 255.0);
                };
                error += std::pow(picture.at(x, y, plane == 1 ? 0 : 2) - shownFor(exact), 2);
                errorOfNearest += std::pow(shownFor(at(x / 2, y / 2)) - shownFor(exact), 2);
            }
        }
    }
    EXPECT_LT(error / (2 * clip.width * clip.height), 0.34) << "more than of rounding";
    EXPECT_GT(errorOfNearest, 100 * error);
}

// The frame after, the nearest key frame, or a time that counts from the file's zero.
TEST_F(VideoCommand, SavesTheFrameOnScreen) {
    const std::string clip = movie({500, 600, 700, 800});
    for (const auto& [at, index] : {std::pair("0", 0), {"0.1", 1}, {"0.199", 1}, {"0.2", 2}, {"0.3", 3}}) {
        const Outcome outcome = runOndrix({"frame", clip, out, "--at", at});
        EXPECT_EQ(outcome.output + outcome.errors, "") << at;
        EXPECT_NEAR(shown().at(48, 24, 1), level(index), 2) << at;
    }
    expectReason(runOndrix({"frame", clip, out, "--at", "1"}), clip, "before 1.000 s");
    const Outcome sheet = runOndrix({"sheet", clip, out, "--columns", "2", "--rows", "2", "--size", "32x24"});
    EXPECT_EQ(sheet.output + sheet.errors, "");
    // The last frame lasts a millisecond.
    for (const auto& [cell, index] : {std::pair(0, 0), {1, 1}, {2, 1}, {3, 2}})
        EXPECT_NEAR(shown().at(cell % 2 * 32 + 24, cell / 2 * 24 + 12, 1), level(index), 2) << cell;
}

// Effects and a function in the wrong order, or over the frame instead of what was drawn.
TEST_F(VideoCommand, RunsEffectsAndThenTheFunction) {
    const std::vector<std::string> arguments{
        "video",       movie({0, 40}),      moved,       "--effect",          "colour=exposure=8",
        "--effect",    "vignette=radius=1", "--library", ONDRIX_TEST_LIBRARY, "--function",
        "Test::Invert"};
    EXPECT_EQ(runOndrix(arguments).errors, "");
    EXPECT_EQ(runOndrix({"frame", moved, out, "--at", "0"}).errors, "");
    EXPECT_NEAR(shown().at(48, 24, 1), 0, 2);    // made white, then black
    EXPECT_NEAR(shown().at(16, 24, 1), 255, 2);  // was black
}

// A movie that is lost, that can't be played, that never ends, or that begins when its camera was switched on; an older
// one that is lost to a shorter one.
TEST_F(VideoCommand, AnInterruptionCompletesTheMovie) {
    const struct {
        std::vector<std::string> options;
        std::string name, message;
    } runs[] = {
        {{}, "moved.mkv", "moved.mkv: interrupted; the movie ends after "},
        {{}, "moved.interrupted.mkv", "interrupted and left as it was; " + file("moved.interrupted.mkv") + " has "},
        {{"--replace-shortened"}, "moved.mkv", "moved.mkv: interrupted; the movie ends after "}};
    for (const auto& [options, name, message] : runs) {
        const std::string older = content(moved);
        std::vector<std::string> arguments{"video", "lavfi:testsrc2=s=64x48,setpts=PTS+9/TB", moved, "--progress",
                                           "json"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        RunningProgram program(arguments, {});
        (void)program.waitForLine("{");
        EXPECT_EQ(program.end(SIGTERM), 130);
        EXPECT_THAT(program.waitForLine("ondrix: "), HasSubstr(message));
        const auto reader = test::open(file(name));
        EXPECT_EQ(CMTimeCompare(reader->information().start, kCMTimeZero), 0);
        EXPECT_NE(reader->copyNextSampleBuffer(), nullptr);
        EXPECT_EQ(content(moved) == older, name != "moved.mkv");
    }
    EXPECT_THAT(names(), UnorderedElementsAre("moved.mkv", "moved.interrupted.mkv"));
}

// An interruption that is taken for an input without frames or for a failure, or that isn't seen: when the program
// starts, and with each thread, from those that decode to those that draw.
TEST_F(VideoCommand, IsInterruptedAtAnyMoment) {
    if (!hasFaults) GTEST_SKIP();
    std::vector<std::int64_t> times(200);
    for (std::size_t index = 0; index < times.size(); ++index) times[index] = static_cast<std::int64_t>(20 * index);
    const std::string clip = movie(times);
    for (const auto& arguments : {std::vector<std::string>{"video", clip, moved},
                                  {"frame", clip, out, "--at", "0"},
                                  {"play", clip, "--headless"}}) {
        bool isInterrupted = true;
        int thread = -1;
        for (; isInterrupted; ++thread) {
            std::filesystem::remove(moved);
            const Outcome outcome = runOndrix(arguments, withFaults({"FAULT_INTERRUPTION=" + std::to_string(thread)}));
            isInterrupted = outcome.status != 0;
            EXPECT_EQ(outcome.status, isInterrupted ? 130 : 0) << outcome.errors;
            if (!isInterrupted) continue;
            EXPECT_THAT(outcome.errors, HasSubstr("interrupted")) << arguments[0] << thread;
            EXPECT_EQ(outcome.errors.find("ends after") != std::string::npos, std::filesystem::exists(moved));
        }
        EXPECT_GT(thread, 2) << arguments[0];  // the last had no such thread, or came while the movie was played
    }
}

// A thread that can't start, or memory that isn't there, taken for a reason to stop at once, to leave a file, or to say
// that all is well with nothing done.
TEST_F(VideoCommand, GoesOnOrSaysWhyWithoutThreadsOrMemory) {
    if (!hasFaults) GTEST_SKIP();
    const std::string clip = movie({0, 40, 80});
    for (const auto& arguments : {std::vector<std::string>{"video", clip, moved},
                                  {"frame", clip, moved, "--at", "0"},
                                  {"play", clip, "--headless"}}) {
        const auto expectOrder = [&](const Outcome& outcome, const std::string& limit) {
            SCOPED_TRACE(arguments[0] + " " + limit);
            if (outcome.status == 0) {
                EXPECT_EQ(outcome.errors, "");
                EXPECT_EQ(std::filesystem::exists(moved), arguments[0] != "play");
                EXPECT_THAT(outcome.output, Not(StartsWith("0 frames")));
            } else {
                EXPECT_EQ(outcome.status, 1);
                // The encoder's library tells of its own memory by itself.
                EXPECT_THAT(outcome.errors, MatchesRegex("(x264 [^\n]+\n)*ondrix: [^\n]+\n"));
                EXPECT_THAT(names(), UnorderedElementsAre("movie.mkv"));
            }
            std::filesystem::remove(moved);
        };
        for (int count = 0; count < 14; ++count) {
            const std::string fault = "FAULT_THREADS=" + std::to_string(count);
            expectOrder(runOndrix(arguments, withFaults({fault})), fault);
        }
        for (int megabytes = 200; megabytes < 700; megabytes += 50) {
            const std::string limit = "ulimit -v " + std::to_string(megabytes * 1024);
            std::vector<std::string> shell{"-c", limit + R"(; exec "$0" "$@")", ONDRIX_PROGRAM};
            shell.insert(shell.end(), arguments.begin(), arguments.end());
            const Outcome outcome = runProgram("/bin/sh", shell);
            if (outcome.status != 127) expectOrder(outcome, limit);  // 127: its libraries have no room
        }
    }
}

// A file that stays beside the output when the program is killed or nobody reads it; one that another program still
// writes and that is taken for such a file.
TEST_F(VideoCommand, LeavesNothingBehindWhenItIsKilled) {
    const std::string endless = "lavfi:testsrc2=s=64x48";
    for (const bool isNameless : {true, false}) {
        if (!isNameless && !hasFaults) GTEST_SKIP();
        const auto environment = isNameless ? std::vector<std::string>() : withFaults({"FAULT_NAMELESS=1"});
        const auto start = [&](RunningProgram& program) { (void)program.waitForLine("{"); };
        const std::vector<std::string> arguments{"video", endless, moved, "--progress", "json"};
        RunningProgram unread(arguments, environment);
        start(unread);
        unread.closeOutput();
        EXPECT_EQ(unread.end(0), 128 + SIGPIPE);
        EXPECT_TRUE(names().empty());

        RunningProgram living(arguments, environment), killed(arguments, environment);
        start(living);
        start(killed);
        EXPECT_EQ(names().size(), isNameless ? 0u : 2u);
        EXPECT_EQ(killed.end(SIGKILL), 128 + SIGKILL);
        RunningProgram next(arguments, environment);
        start(next);
        EXPECT_EQ(names().size(), isNameless ? 0u : 2u);
        for (RunningProgram* const program : {&living, &next}) EXPECT_EQ(program->end(SIGINT), 130);
        EXPECT_THAT(names(), UnorderedElementsAre("moved.mkv", "moved.interrupted.mkv"));
        for (const std::string& name : names()) std::filesystem::remove(file(name));
    }
}

// A pipe that nobody writes to, from which no request to end could free the program; one that somebody does write to.
TEST_F(VideoCommand, AnInterruptionEndsTheWaitForAPipe) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer may hold a signal back until the next system call, which waits";
#endif
    const std::string pipe = file("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::vector<std::string> commands[] = {{"frame", pipe, out, "--at", "0"},
                                                 {"sheet", pipe, out},
                                                 {"play", pipe, "--headless"},
                                                 {"video", pipe, moved},
                                                 {"present", pipe, out, "--size", "8x8"},
                                                 {"nv12", pipe, out, "--size", "8x8", "--range", "full"}};
    for (const auto& command : commands) {
        RunningProgram program(command, {});
        int writer;
        while ((writer = ::open(pipe.c_str(), O_WRONLY | O_NONBLOCK)) < 0) std::this_thread::yield();
        EXPECT_EQ(program.end(SIGTERM), 130) << command[0];
        EXPECT_THAT(program.waitForLine("ondrix: "), HasSubstr(pipe + ": interrupted")) << command[0];
        ::close(writer);
        EXPECT_THAT(names(), testing::ElementsAre("pipe"));
    }
    const std::string input = folder.write("in.png", png(Picture::noise(8, 8, 1))), clip = movie({0, 40});
    const std::tuple<std::string, std::string, int> fed[] = {
        {input, " present pipe out.png --size 8x8", 0},
        {clip, " frame pipe out.png --at 0.04", 0},
        {clip, " video pipe moved.mkv", 0},
        {"/dev/null", " nv12 pipe o.png --size 8x8 --range full", 1}};
    for (const auto& [from, command, status] : fed) {
        const std::string script = "cd '" + folder.path().string() + "' && cat '" + from + "' >pipe & cd '" +
                                   folder.path().string() + "' && exec " ONDRIX_PROGRAM + command;
        EXPECT_EQ(runProgram("/bin/sh", {"-c", script}).status, status) << command;
    }
    EXPECT_EQ(test::readAll(*test::open(moved)).size(), 2u);
}

TEST_F(VideoCommand, SaysInOneLineWhatIsWrong) {
    (void)movie({0, 40});
    const std::string list = folder.write("list.mp4", "ffconcat version 1.0\nfile movie.mkv\n");
    expectReason(runOndrix({"frame", list, out, "--at", "0"}), list, "this is a playlist (concat)");
    EXPECT_EQ(runOndrix({"frame", list, out, "--at", "0", "--allow-playlists"}).errors, "");
    std::filesystem::remove(out);
    std::filesystem::remove(list);
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
    expectWrongUse({"video", clip, moved, "--size", "33x20"}, "--size");
    EXPECT_THAT(names(), UnorderedElementsAre("full.mkv", "in", "movie.mkv"));
}

}  // namespace
