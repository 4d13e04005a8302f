#include <algorithm>
#include <functional>

#include <ondrix/platform/ffmpeg/MovieWriter.h>

#include "Frames.h"

namespace ondrix::test {
namespace {

constexpr int width = 66, height = 50;  // neither whole vectors nor whole macroblocks

class WriterTest : public MediaTest {
protected:
    static MovieWriterSettings settings(std::int32_t timescale = 25, int quality = 23) {
        MovieWriterSettings settings;
        settings.width = width;
        settings.height = height;
        settings.timescale = timescale;
        settings.quality = quality;
        return settings;
    }
    std::shared_ptr<MovieWriter> create(const char* name, const MovieWriterSettings& settings) const {
        NSError error;
        auto writer = MovieWriter::create(URL(path(name)), settings, &error);
        if (!writer) throw std::runtime_error(error.localizedDescription());
        return writer;
    }
    /// Appends a frame of noise unless there are pixels.
    static bool append(MovieWriter& writer, CMTime time, CMTime duration = CMTimeMake(1, 25),
                       std::shared_ptr<CVPixelBuffer> pixels = nullptr) {
        if (pixels == nullptr) pixels = noise(width, height, bgra, static_cast<unsigned>(time.value));
        return writer.append(*sample(pixels, {duration, time, {}}));
    }
};

// Times that pass through a coarser clock, an encoder's delay that leaks out, times below zero, a last frame of a tick.
TEST_F(WriterTest, KeepsEveryTimeToTheTick) {
    const std::pair<std::int32_t, std::vector<std::int64_t>> timings[] = {
        {30000, evenTimes(30, 0, 1001)}, {90000, {0, 3003, 3004, 12000, 12500, 90001, 90005, 99999}},
        {600, evenTimes(8, -50, 20)},    {15360, evenTimes(30, 20983, 512)},
        {44100, evenTimes(30, 7, 1471)},
    };
    for (const auto& [timescale, ticks] : timings) {
        SCOPED_TRACE(timescale);
        const auto writer = create("movie.mp4", settings(timescale));
        for (std::size_t i = 0; i < ticks.size(); ++i) {
            const std::size_t next = i + 1 < ticks.size() ? i + 1 : 1;  // the last lasts as long as the first
            const CMTime duration = CMTimeMake(ticks[next] - ticks[next - 1], timescale);
            EXPECT_TRUE(append(*writer, CMTimeMake(ticks[i], timescale), duration));
        }
        ASSERT_TRUE(writer->finish()) << writer->error()->localizedDescription();
        const auto reader = open(path("movie.mp4"));
        const CMTime duration = CMTimeMake(ticks.back() - ticks[0] + ticks[1] - ticks[0], timescale);
        const bool isEven = timescale != 90000;  // otherwise the file's end is that of the frame that is decoded last
        EXPECT_TRUE(!isEven || CMTimeCompare(reader->information().duration, duration) == 0);
        const Samples samples = readAll(*reader);
        ASSERT_EQ(samples.size(), ticks.size());
        for (std::size_t i = 0; i < ticks.size(); ++i) {
            const CMTime time = CMTimeMake(ticks[i] + std::max<std::int64_t>(0, -ticks[0]), timescale);
            EXPECT_EQ(CMTimeCompare(timeOf(samples[i]), time), 0) << i;
        }
    }
}

// An encoder that needs another pixel format, rate or header than H.264 in MP4 does, and planes mixed up.
TEST_F(WriterTest, WritesEachFormatWithItsEncoder) {
    // Ending, codec, tick in seconds, levels by which colours may differ.
    const std::tuple<const char*, const char*, double, int> formats[] = {
        {"mkv", "h264", 0.001, 4}, {"mov", "h264", 0, 4}, {"webm", "vp9", 0.001, 4},
        {"avi", "mpeg4", 0, 12},   {"ts", "h264", 0, 4},  {"gif", "gif", 0.01, 45},
    };
    constexpr OSType y420 = kCVPixelFormatType_420YpCbCr8Planar;
    const std::uint8_t colour[] = {40, 120, 230, 255}, samples420[] = {134, 82, 180};
    for (const auto& [entry, format] : {std::pair(0, bgra),
                                        {1, bgra},
                                        {2, bgra},
                                        {3, bgra},
                                        {4, bgra},
                                        {5, bgra},
                                        {0, v420},
                                        {0, y420},
                                        {2, v420},
                                        {2, y420},
                                        {3, v420},
                                        {3, y420},
                                        {5, y420}}) {
        const auto& [ending, codec, tick, tolerance] = formats[entry];
        SCOPED_TRACE(ending + std::to_string(format));
        MovieWriterSettings rate = settings();
        rate.frameRate = 25;
        rate.container = ending;
        const auto orange = noise(width, height, format);
        const auto fill = [&orange = orange, &colour, &samples420](bool isOrange) {
            for (Int plane = 0; CVPixelBufferGetHeightOfPlane(*orange, plane) > 0; ++plane) {
                const Int size = bytesPerElement(orange, plane);
                const std::uint8_t* const from = size == 4 ? colour : samples420 + plane;
                forEachElement(*orange, plane, size, [&](std::uint8_t* element, Int, Int) {
                    for (Int i = 0; i < size; ++i) element[i] = isOrange ? from[i] : 0;
                });
            }
        };
        const auto writer = create("movie", rate);
        for (int i = 0; i < 10; ++i) {
            fill(true);
            EXPECT_TRUE(append(*writer, CMTimeMake(i, 25), CMTimeMake(1, 25), orange));
            fill(false);  // it isn't read any more
        }
        ASSERT_TRUE(writer->finish());
        const auto reader = open(path("movie"));
        EXPECT_EQ(reader->information().codec, codec);
        const Samples samples = readAll(*reader);
        ASSERT_EQ(samples.size(), 10);
        for (int i = 0; i < 10; ++i) EXPECT_NEAR(CMTimeGetSeconds(timeOf(samples[i])), i / 25.0, tick);
        const std::vector<int> bytes = bytesOf(imageOf(samples[0]), 0);
        for (std::size_t i = 0; i < bytes.size(); ++i) ASSERT_NEAR(bytes[i], colour[i % 4], tolerance) << "byte " << i;
    }
}

/// The exact byte `i` of a plane in video range; `source` are the bytes of this plane, or of all pixels.
double expectedByte(OSType format, const std::vector<int>& source, Int plane, Int i) {
    if (format == v420) return source[i];
    const double offset = plane == 0 ? 16 : 128, range = (plane == 0 ? 219 : 224) / 255.0;
    if (format == f420) return offset + (source[i] - (plane == 0 ? 0 : 128)) * range;
    const Int side = plane + 1, x = i % width / side * side, y = i / width * side;
    double c[3] = {};  // mean blue, green, red of the side * side pixels
    for (Int k = 0; k < side * side * 3; ++k) {
        const Int pixel = (y + k / 3 / side) * width + x + k / 3 % side;
        c[k % 3] += source[pixel * 4 + k % 3] / static_cast<double>(side * side);
    }
    const double luma = 0.0722 * c[0] + 0.7152 * c[1] + 0.2126 * c[2];
    if (plane == 0) return offset + luma * range;
    return offset + (i % 2 == 0 ? (c[0] - luma) / 1.8556 : (c[2] - luma) / 1.5748) * range;
}

// A wrong matrix, range, chroma order or vector tail, and frames that take a detour through another format.
TEST_F(WriterTest, WritesBT709InVideoRange) {
    for (const OSType format : {bgra, v420, f420}) {
        const auto source = noise(width, height, format);
        const auto writer = create("movie.mp4", settings(25, 0));
        ASSERT_TRUE(append(*writer, kCMTimeZero, CMTimeMake(1, 25), source));
        ASSERT_TRUE(writer->finish());
        const auto result = imageOf(readAll(*open(path("movie.mp4"), MovieFrameFormat::native)).at(0));
        ASSERT_EQ(CVPixelBufferGetPixelFormatType(*result), v420);
        for (const Int plane : {0, 1}) {
            const std::vector<int> stored = bytesOf(source, format == bgra ? 0 : plane);
            const std::vector<int> written = bytesOf(result, plane);
            ASSERT_EQ(written.size(), width * height / (plane + 1));
            for (Int i = 0; i < width * height / (plane + 1); ++i) {
                ASSERT_NEAR(written[i], expectedByte(format, stored, plane, i), format == bgra ? 1 : 0.5001) << i;
            }
        }
    }
}

// Sound that is decoded, moved, cut at the last frame, goes on behind a movie cut short, or fails where it can't be.
TEST_F(WriterTest, CopiesSoundUnchangedAsFarAsThePicturesGo) {
    // Name, source, number of pictures, duration of the last, number of packets.
    const std::tuple<const char*, const char*, int, int, std::size_t> copies[] = {
        {"source.mp4", "sound.mp4", 10, 25, 64},  // sound alone: what begins within 1.36 s
        {"whole.mp4", "source.mp4", 10, 1, 64},   // all, behind the last picture
        {"short.mp4", "source.mp4", 7, 1, 14},    // what begins within 0.28 s
        {"whole.webm", "source.mp4", 10, 1, 0},   // can't hold it
    };
    writeSound(path("sound.mp4"), 100);
    for (const auto& [name, source, frameCount, lastDuration, soundCount] : copies) {
        MovieWriterSettings copying = settings();
        copying.copyOthersFrom = URL(path(source));
        const auto writer = create(name, copying);
        for (int i = 0; i < frameCount; ++i) {
            EXPECT_TRUE(append(*writer, CMTimeMake(i, 25), CMTimeMake(i + 1 < frameCount ? 1 : lastDuration, 25)));
        }
        ASSERT_TRUE(writer->finish()) << name;
        auto expected = readSound(path("sound.mp4"));
        expected.resize(soundCount);
        EXPECT_EQ(readSound(path(name)), expected) << name;
    }
    EXPECT_THAT(log.messages(), testing::Contains(testing::HasSubstr("aac")));
}

// A refusal without its reason, and one that leaves a file behind.
TEST_F(WriterTest, RefusesWithAReason) {
    struct {
        const char *name, *reason;
        std::function<void(MovieWriterSettings&)> change = [](auto&) {};
    } const refusals[] = {
        {"movie.xyz", "no movie format has the ending \"xyz\""},
        {"movie", "the file's name has no ending that tells its format"},
        {"movie.mp3", "files with the ending \"mp3\" can't hold a movie"},
        {"movie.vc1", "an encoder for vc1 is missing"},
        {"none/movie.mp4", "the file can't be made: no such file or directory"},
        {"/dev/full", "the file can't be written: no space left on device", [](auto& s) { s.container = "mp4"; }},
        {"movie.mp4", "pictures of 65 x 50 can't be written: sides are even", [](auto& s) { s.width = 65; }},
        {"movie.mp4", "pictures of 66 x 16386 can't be written", [](auto& s) { s.height = 16386; }},
        {"movie.mp4", "a timescale is at least 1", [](auto& s) { s.timescale = 0; }},
        {"movie.mp4", "has no preset \"bogus\"", [](auto& s) { s.preset = "bogus"; }},
        {"movie.mp4", "the movie to copy sound from can't be opened: no such file or directory",
         [this](auto& s) { s.copyOthersFrom = URL(path("none.mp4")); }},
    };
    for (const auto& [name, reason, change] : refusals) {
        MovieWriterSettings changed = settings();
        change(changed);
        const auto make = [&, &name = name] { (void)create(name, changed); };
        EXPECT_THAT(make, testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr(reason)));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

// Frames that break the file, a failure that the next call forgets, writes that fail half-way without notice.
TEST_F(WriterTest, StopsAtWhatCannotBeWritten) {
    const std::tuple<int, CMTime, const char*> refusals[] = {
        {width, CMTimeMake(3, 25), "time stamps don't rise: 0.120000 s after 0.120000 s"},
        {width, kCMTimeInvalid, "a frame without a time can't be written"},
        {64, CMTimeMake(4, 25), "a frame of 64 x 50 doesn't fit"},
    };
    for (const auto& [frameWidth, time, reason] : refusals) {
        const auto writer = create("movie.mp4", settings());
        EXPECT_TRUE(append(*writer, CMTimeMake(3, 25)));
        EXPECT_FALSE(append(*writer, time, CMTimeMake(1, 25), noise(frameWidth, height, bgra)));
        EXPECT_THAT(writer->error()->localizedDescription(), testing::HasSubstr(reason));
        EXPECT_FALSE(writer->finish());
    }
    EXPECT_FALSE(create("movie.mp4", settings())->finish()) << "without pictures";
    MovieWriterSettings big = settings(25, 0);  // 7000 bytes a frame
    big.container = "mkv";
    const auto writer = create("/dev/full", big);
    int count = 0;
    while (count < 600 && append(*writer, CMTimeMake(count, 25))) ++count;
    EXPECT_LT(count, 600);
    EXPECT_FALSE(writer->finish());
    EXPECT_EQ(writer->error().value().localizedDescription(), "the file can't be written: no space left on device");
}

}  // namespace
}  // namespace ondrix::test
