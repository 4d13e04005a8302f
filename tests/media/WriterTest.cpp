#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/platform/ffmpeg/MovieReader.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>

#include "Frames.h"
#include "MediaFile.h"

namespace ondrix::test {

namespace {

using testing::HasSubstr;

constexpr OSType bgra = kCVPixelFormatType_32BGRA;
constexpr OSType videoRange = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
constexpr OSType fullRange = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;

class WriterTest : public testing::Test {
protected:
    static MovieWriterSettings settings(std::int32_t timescale) {
        MovieWriterSettings settings;
        settings.width = 66;  // neither a whole number of vectors nor of macroblocks
        settings.height = 50;
        settings.timescale = timescale;
        return settings;
    }
    std::filesystem::path path(const char* name) const { return folder.path() / name; }
    URL file(const char* name) const { return URL(path(name)); }
    /// Times of the frames of "movie.mp4" as a reader tells them.
    std::vector<std::int64_t> readTicks(std::int32_t timescale) const {
        std::vector<std::int64_t> ticks;
        for (const auto& sample : readAll(path("movie.mp4"))) {
            EXPECT_EQ(timeOf(sample).timescale, timescale);
            ticks.push_back(timeOf(sample).value);
        }
        return ticks;
    }
    /// A frame of noise.
    static bool append(MovieWriter& writer, std::int64_t tick, std::int64_t duration, std::int32_t timescale = 25) {
        const auto pixels = noise(66, 50, bgra, static_cast<unsigned>(tick));
        return writer.append(*frame(pixels, CMTimeMake(tick, timescale), CMTimeMake(duration, timescale)));
    }
    /// Each frame lasts until the next, the last as long as the first.
    void write(const char* name, const MovieWriterSettings& settings, const std::vector<std::int64_t>& ticks) {
        NSError error;
        const auto writer = MovieWriter::create(file(name), settings, &error);
        ASSERT_NE(writer, nullptr) << error.localizedDescription();
        for (std::size_t i = 0; i < ticks.size(); ++i) {
            const std::size_t next = i + 1 < ticks.size() ? i + 1 : 1;
            EXPECT_TRUE(append(*writer, ticks[i], ticks[next] - ticks[next - 1], settings.timescale));
        }
        ASSERT_TRUE(writer->finish()) << writer->error()->localizedDescription();
    }

    LogCapture log;
    TemporaryFolder folder;
};

struct Timing {
    const char* name;
    std::int32_t timescale;
    std::vector<std::int64_t> ticks;
};

class WriterTimingTest : public WriterTest, public testing::WithParamInterface<Timing> {};

// Catches times that pass through a coarser clock (milliseconds, a frame rate), and an encoder's delay that leaks out.
TEST_P(WriterTimingTest, KeepsEveryTimeToTheTick) {
    const auto& [name, timescale, ticks] = GetParam();
    write("movie.mp4", settings(timescale), ticks);
    EXPECT_EQ(readTicks(timescale), ticks);
    const auto packets = readStream(file("movie.mp4"), AVMEDIA_TYPE_VIDEO).packets;
    EXPECT_TRUE(std::any_of(packets.begin(), packets.end(), [](const FilePacket& p) {
        return p.presentationTime != p.decodeTime;
    })) << "without frames out of order this proves little";
}

std::vector<std::int64_t> steps(std::int64_t start, std::int64_t step, int count) {
    std::vector<std::int64_t> ticks(static_cast<std::size_t>(count));
    for (auto& tick : ticks) tick = std::exchange(start, start + step);
    return ticks;
}

INSTANTIATE_TEST_SUITE_P(Timings, WriterTimingTest,
                         testing::Values(Timing{"Constant", 30000, steps(0, 1001, 30)},
                                         Timing{"Variable", 90000, {0, 3003, 3004, 12000, 12500, 90001, 90005, 99999}},
                                         Timing{"LateStart", 15360, steps(20983, 512, 30)},
                                         Timing{"LateStartOddClock", 44100, steps(7, 1471, 30)}),
                         [](const auto& test) { return std::string(test.param.name); });

// Catches a last frame that lasts a tick, and a late start that counts as a part of the movie.
TEST_F(WriterTest, LastsFromTheFirstFrameToTheEndOfTheLast) {
    write("movie.mp4", settings(30000), steps(40001, 1001, 30));
    const auto reader = MovieReader::open(file("movie.mp4"), MovieFrameFormat::native, nullptr);
    EXPECT_EQ(CMTimeCompare(reader->information().duration, CMTimeMake(30 * 1001, 30000)), 0);
}

// Catches players that skip what lies before zero.
TEST_F(WriterTest, MovesAMovieThatBeginsBeforeZero) {
    write("movie.mp4", settings(600), steps(-50, 20, 8));
    EXPECT_EQ(readTicks(600), steps(0, 20, 8));
}

struct Container {
    const char* ending;
    const char* codec;
    double tick;    ///< seconds
    int tolerance;  ///< levels
};

class WriterContainerTest : public WriterTest, public testing::WithParamInterface<Container> {};

// Catches an encoder that needs another pixel format, rate or header than H.264 in MP4 does, and planes mixed up.
TEST_P(WriterContainerTest, WritesWithTheFormatsEncoder) {
    const auto& [ending, codec, tick, tolerance] = GetParam();
    MovieWriterSettings rate = settings(25);
    rate.frameRate = 25;
    rate.container = ending;
    const auto orange = noise(66, 50, bgra, 1);
    const std::array<std::uint8_t, 4> colour = {40, 120, 230, 255};
    forEachElement(*orange, 0, 4, [&colour](std::uint8_t* pixel, Int, Int) { std::copy_n(colour.begin(), 4, pixel); });
    const auto writer = MovieWriter::create(file("movie"), rate, nullptr);
    ASSERT_NE(writer, nullptr);
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(writer->append(*frame(orange, CMTimeMake(i, 25), CMTimeMake(1, 25))));
    ASSERT_TRUE(writer->finish());
    const auto reader = MovieReader::open(file("movie"), MovieFrameFormat::BGRA, nullptr);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->information().codec, codec);
    const auto samples = readAll(*reader);
    ASSERT_EQ(samples.size(), 10);
    for (int i = 0; i < 10; ++i) {
        EXPECT_NEAR(CMTimeGetSeconds(timeOf(samples[static_cast<std::size_t>(i)])), i / 25.0, tick);
    }
    const auto bytes = bytesOf(samples.front(), 0, 4);
    for (std::size_t i = 0; i < bytes.size(); ++i) ASSERT_NEAR(bytes[i], colour[i % 4], tolerance) << "byte " << i;
}

INSTANTIATE_TEST_SUITE_P(Containers, WriterContainerTest,
                         testing::Values(Container{"mkv", "h264", 0.001, 4}, Container{"mov", "h264", 0, 4},
                                         Container{"webm", "vp9", 0.001, 4}, Container{"avi", "mpeg4", 0, 12},
                                         Container{"ts", "h264", 0, 4}, Container{"gif", "gif", 0.01, 45}),
                         [](const auto& test) { return std::string(test.param.ending); });

class WriterColourTest : public WriterTest, public testing::WithParamInterface<OSType> {
protected:
    /// The exact sample at `x`, `y` of a plane whose elements stand for `side` * `side` pixels; `x` counts bytes.
    static double expected(CVPixelBuffer& source, std::int64_t plane, std::int64_t x, std::int64_t y) {
        const OSType format = CVPixelBufferGetPixelFormatType(source);
        if (format == videoRange) return byte(source, plane, x, y);
        const double offset = plane == 0 ? 16 : 128, range = (plane == 0 ? 219 : 224) / 255.0;
        if (format == fullRange) return offset + (byte(source, plane, x, y) - (plane == 0 ? 0 : 128)) * range;
        const std::int64_t side = plane + 1, left = x / side * side;
        double c[3] = {};
        for (std::int64_t i = 0; i < side * side * 3; ++i) {
            c[i % 3] += byte(source, 0, (left + i / 3 % side) * 4 + i % 3, y * side + i / 3 / side) /
                        static_cast<double>(side * side);
        }
        const double luma = 0.0722 * c[0] + 0.7152 * c[1] + 0.2126 * c[2];
        if (plane == 0) return offset + luma * range;
        return offset + (x % 2 == 0 ? (c[0] - luma) / 1.8556 : (c[2] - luma) / 1.5748) * range;
    }
};

// Catches a wrong matrix, range, chroma order or vector tail, and frames that take a detour through another format.
TEST_P(WriterColourTest, WritesBT709InVideoRange) {
    MovieWriterSettings lossless = settings(25);
    lossless.quality = 0;
    const auto source = noise(66, 50, GetParam(), 7);
    const auto writer = MovieWriter::create(file("movie.mp4"), lossless, nullptr);
    ASSERT_TRUE(writer->append(*frame(source, CMTimeMake(0, 25), CMTimeMake(1, 25))));
    ASSERT_TRUE(writer->finish());
    const auto result = CMSampleBufferGetImageBuffer(*readAll(path("movie.mp4"), MovieFrameFormat::native).at(0));
    ASSERT_EQ(CVPixelBufferGetPixelFormatType(*result), videoRange);
    for (std::int64_t i = 0; i < 66 * 75; ++i) {
        const std::int64_t plane = i / (66 * 50), x = i % 66, y = i / 66 - plane * 50;
        ASSERT_NEAR(byte(*result, plane, x, y), expected(*source, plane, x, y), GetParam() == bgra ? 1 : 0.5001) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, WriterColourTest, testing::Values(bgra, videoRange, fullRange));

class WriterSoundTest : public WriterTest {
protected:
    /// A movie of 10 frames in 0.4 s, the last of which is said to last until 1.36 s, with as much sound.
    void SetUp() override {
        writeSound(file("sound.mp4"), 100);
        const auto writer = create("source.mp4", "sound.mp4");
        for (int i = 0; i < 10; ++i) EXPECT_TRUE(append(*writer, i, i < 9 ? 1 : 25));
        ASSERT_TRUE(writer->finish());
    }
    std::shared_ptr<MovieWriter> create(const char* name, const char* source) {
        MovieWriterSettings copying = settings(25);
        copying.copyOthersFrom = file(source);
        return MovieWriter::create(file(name), copying, nullptr);
    }
    FileStream sound(const char* name) { return readStream(file(name), AVMEDIA_TYPE_AUDIO); }
    std::vector<FilePacket> firstPackets(std::size_t count) {
        auto packets = sound("sound.mp4").packets;
        packets.resize(count);
        return packets;
    }
};

// Catches sound that is decoded, moved, cut at the last frame, or loses its language.
TEST_F(WriterSoundTest, CopiesSoundUnchangedToItsEnd) {
    const auto writer = create("copy.mp4", "source.mp4");
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(append(*writer, i, 1));
    ASSERT_TRUE(writer->finish());
    EXPECT_EQ(sound("copy.mp4").packets, firstPackets(64));  // those that begin within 1.36 s
    EXPECT_EQ(sound("copy.mp4").language, "fra");
}

// Catches an interrupted job whose sound goes on behind its pictures.
TEST_F(WriterSoundTest, EndsSoundWithThePicturesOfAMovieThatIsCutShort) {
    const auto writer = create("copy.mp4", "source.mp4");
    for (int i = 0; i < 7; ++i) EXPECT_TRUE(append(*writer, i, 1));
    ASSERT_TRUE(writer->finish());
    EXPECT_EQ(sound("copy.mp4").packets, firstPackets(14));  // those that begin within 0.28 s
}

// Catches a whole movie that fails for a stream that it could do without.
TEST_F(WriterSoundTest, LeavesOutWhatTheFormatCannotHold) {
    const auto writer = create("copy.webm", "source.mp4");
    ASSERT_NE(writer, nullptr);
    EXPECT_TRUE(append(*writer, 0, 1));
    ASSERT_TRUE(writer->finish());
    EXPECT_THAT(log.messages(), testing::Contains(HasSubstr("aac")));
    EXPECT_TRUE(sound("copy.webm").packets.empty());
}

struct Refusal {
    std::function<void(MovieWriterSettings&)> change;
    std::string path, reason;
};

// Catches a refusal without its reason, and one that leaves a file behind.
TEST_F(WriterTest, RefusesWithAReason) {
    const auto nothing = [](MovieWriterSettings&) {};
    const std::string here = folder.path().native() + "/";
    const Refusal refusals[] = {
        {nothing, here + "movie.xyz", "no movie format has the ending \"xyz\""},
        {nothing, here + "movie", "the file's name has no ending that tells its format"},
        {nothing, here + "movie.mp3", "files with the ending \"mp3\" can't hold a movie"},
        {nothing, here + "movie.vc1", "an encoder for vc1 is missing"},
        {nothing, here + "none/movie.mp4", "the file can't be made: no such file or directory"},
        {[](auto& s) { s.container = "mp4"; }, "/dev/full", "the file can't be written: no space left on device"},
        {[](auto& s) { s.width = 65; }, here + "movie.mp4", "pictures of 65 x 50 can't be written: sides are even"},
        {[](auto& s) { s.height = 16386; }, here + "movie.mp4", "pictures of 66 x 16386 can't be written"},
        {[](auto& s) { s.timescale = 0; }, here + "movie.mp4", "a timescale is at least 1"},
        {[](auto& s) { s.preset = "bogus"; }, here + "movie.mp4", "has no preset \"bogus\""},
        {[&](auto& s) { s.copyOthersFrom = URL(here + "none.mp4"); }, here + "movie.mp4",
         "the movie to copy sound from can't be opened: no such file or directory"},
    };
    for (const auto& [change, path, reason] : refusals) {
        MovieWriterSettings changed = settings(25);
        change(changed);
        NSError error;
        EXPECT_EQ(MovieWriter::create(URL(path), changed, &error), nullptr) << path;
        EXPECT_THAT(error.localizedDescription(), HasSubstr(reason));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

// Catches frames that break the file, and a failure that the next call forgets.
TEST_F(WriterTest, StopsAtAFrameThatCannotBeWritten) {
    const auto good = noise(66, 50, bgra, 1);
    const std::pair<std::shared_ptr<CMSampleBuffer>, const char*> refusals[] = {
        {frame(good, CMTimeMake(3, 25), CMTimeMake(1, 25)), "time stamps don't rise: 0.120000 s after 0.120000 s"},
        {frame(good, kCMTimeInvalid, kCMTimeInvalid), "a frame without a time can't be written"},
        {frame(noise(64, 50, bgra, 1), CMTimeMake(4, 25), CMTimeMake(1, 25)), "a frame of 64 x 50 doesn't fit"},
    };
    for (const auto& [bad, reason] : refusals) {
        const auto writer = MovieWriter::create(file("movie.mp4"), settings(25), nullptr);
        EXPECT_TRUE(append(*writer, 3, 1));
        EXPECT_FALSE(writer->append(*bad));
        EXPECT_THAT(writer->error()->localizedDescription(), HasSubstr(reason));
        EXPECT_FALSE(writer->finish());
    }
    EXPECT_FALSE(MovieWriter::create(file("movie.mp4"), settings(25), nullptr)->finish()) << "without pictures";
}

// Catches writes that fail half-way without anybody's notice.
TEST_F(WriterTest, TellsOfAFileThatCannotGrow) {
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit previous{};
    getrlimit(RLIMIT_FSIZE, &previous);
    const rlimit limit{65536, previous.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    MovieWriterSettings quick = settings(25);
    quick.quality = 0;  // 7000 bytes a frame
    const auto writer = MovieWriter::create(file("movie.mp4"), quick, nullptr);
    bool isWritten = true;
    for (int i = 0; i < 150 && isWritten; ++i) isWritten = append(*writer, i, 1);
    EXPECT_FALSE(isWritten);
    EXPECT_FALSE(writer->finish());
    setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previousHandler);
    ASSERT_TRUE(writer->error());
    EXPECT_EQ(writer->error()->localizedDescription(), "the file can't be written: file too large");
}

}  // namespace

}  // namespace ondrix::test
