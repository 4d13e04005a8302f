// Playing without a window, and what a user reads when nothing can be played.
#include <numeric>

#include <signal.h>
#include <tests/media/Clip.h>

#include "Program.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class PlayCommand : public ProgramTest {
protected:
    /// A movie with frames at these times in milliseconds.
    std::string movie(std::vector<std::int64_t> times) const {
        return ondrix::test::Clip{.times = std::move(times)}.write(file("movie.mkv"));
    }
    static void expectFigures(const std::vector<std::string>& arguments) {
        const Outcome outcome = runOndrix(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.errors, "");
        const std::string mean = "[0-9]+\\.[0-9]+ ms";
        EXPECT_THAT(outcome.output, MatchesRegex("[1-9][0-9]* frames, [0-9]+ dropped, convert " + mean + ", effect " +
                                                 mean + ", present " + mean + "\n"));
    }
};

// Playing that never ends, or ends before anything was drawn; a turned picture that can't be made, or a message because
// a texture has no image yet. A clip of ten hours, and a source that has no end.
TEST_F(PlayCommand, EndsWithTheMovieOrAfterTheGivenTime) {
    expectFigures({"play", movie({0, 1000}), "--headless", "--rotate", "90", "--size", "30x50"});
    expectFigures({"play", movie({0, 36'000'000}), "--headless", "--seconds", "1"});
    expectFigures({"play", "lavfi:testsrc2=size=64x48:rate=30", "--headless", "--seconds", "1"});
}

// An effect that keeps the size of the movie; a source that is never built again, or whose errors end the playback.
TEST_F(PlayCommand, GoesOnWhileTheSourceOfItsFunctionChanges) {
    const std::string good = content(ONDRIX_TEST_SOURCE), library = folder.write("live.cpp", good);
    RunningProgram program({"play", "lavfi:testsrc2=size=64x48:rate=30", "--headless", "--size", "41x33", "--effect",
                            "edges,gaussian-blur", "--library", library, "--function", "Test::Invert", "--watch"},
                           {});
    (void)program.waitForLine(library + ": in use");
    (void)folder.write("live.cpp", "mistake\n" + good);
    EXPECT_THAT(program.waitForLine("ondrix: "), HasSubstr(library + ":1: "));
    (void)folder.write("live.cpp", "\n");
    EXPECT_THAT(program.waitForLine("ondrix: "), HasSubstr("'Test::Invert'"));
    (void)folder.write("live.cpp", good);
    EXPECT_THAT(program.waitForLine(library), HasSubstr(": in use"));
    EXPECT_EQ(program.end(SIGINT), 0);
}

TEST_F(PlayCommand, SaysInOneLineWhatIsWrong) {
    expectReason(runOndrix({"play", in, "--headless"}), in);
    expectReason(runOndrix({"play", folder.write("in", "no movie"), "--headless"}), in);
    expectReason(runOndrix({"play", "lavfi:none-such", "--headless"}), "lavfi:none-such");
    std::vector<std::int64_t> times(25);
    std::iota(times.begin(), times.end(), 0);
    const ondrix::test::Clip avi{.encoder = "mpeg4", .timeBase = {1, 25}, .times = times, .framesPerKey = 1};
    const std::string whole = content(avi.write(file("whole.avi")));
    const std::string cut = folder.write("cut.avi", whole.substr(0, whole.size() / 2));
    expectReason(runOndrix({"play", cut, "--headless"}), cut, "the file ends too early");
    const std::string clip = movie({0});
    expectReason(runOndrix({"play", clip}, {"SDL_VIDEODRIVER=none-such"}), clip, "--headless");
    for (const char* seconds : {"0", "nan"})
        expectWrongUse({"play", clip, "--headless", "--seconds", seconds}, "--seconds");
    expectWrongUse({"play", clip, "--seconds", "1"}, "--seconds");
}

}  // namespace
