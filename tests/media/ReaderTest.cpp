#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <numeric>
#include <random>
#include <thread>

#include <gmock/gmock.h>

#include <ondrix/platform/ffmpeg/LiveSource.h>

#include "Clip.h"
#include "Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace ondrix::test {

namespace {

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::int64_t> evenTimes(int count, std::int64_t first = 0) {
    std::vector<std::int64_t> times(count);
    std::iota(times.begin(), times.end(), first);
    return times;
}

/// The number of a frame as luma, so that it can be seen whatever the encoder does to it.
int numberAsLuma(int frame, int plane, int, int) {
    return plane == 0 ? 20 + frame * 7 : 128;
}

int noise(int, int plane, int x, int y) {
    return x * x * 31 + y * 57 + x * y * 5 + plane * 20;
}

int numberIn(const std::shared_ptr<CMSampleBuffer>& sample) {
    // Green of grey: BT.601 in video range.
    return static_cast<int>(std::lround((bytesOf(sample, 0, 4)[1] * 219 / 255.0 + 16 - 20) / 7));
}

class ReaderTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path write(const Clip& clip, const char* name) const {
        clip.write(folder_.path() / name);
        return folder_.path() / name;
    }

    TemporaryFolder folder_;
    LogCapture log_;
};

struct Timing {
    const char* name;
    const char* file;
    Clip clip;
};

Clip numbered(const char* encoder, AVRational timeBase, std::vector<std::int64_t> times, int bFrames) {
    Clip clip;
    clip.encoder = encoder;
    clip.timeBase = timeBase;
    clip.times = std::move(times);
    clip.bFrames = bFrames;
    clip.value = numberAsLuma;
    return clip;
}

const Timing timings[] = {
    {"Variable", "a.mkv", numbered("ffv1", {1, 1000}, {0, 40, 50, 130, 131, 400}, 0)},
    {"LateStart", "a.mkv", numbered("ffv1", {1, 1000}, {5000, 5040, 5080}, 0)},
    {"FromLaterFrames", "a.mp4", numbered("mpeg4", {1001, 30000}, evenTimes(26), 2)},
    {"LateFromLaterFrames", "a.mov",
     numbered("mpeg4", {1, 600}, {900, 920, 940, 990, 1000, 1001, 1100, 1120, 1140, 1160}, 2)},
    {"TransportStream", "a.ts", numbered("libx264", {1, 25}, evenTimes(30), 2)},
    {"NegativeStart", "a.ts", numbered("mpeg2video", {1, 25}, evenTimes(30, -125), 2)},
};

class TimesTest : public ReaderTest, public testing::WithParamInterface<Timing> {};

// Catches frames out of order, lost at the end or twice, times that were rounded or moved, and a search that ends at a
// key frame, one frame off, or at a time of decoding.
TEST_P(TimesTest, EachFrameComesOnceWithItsTimeAndIsFoundByIt) {
    const Clip& clip = GetParam().clip;
    const auto reader = open(write(clip, GetParam().file));
    const Samples samples = readAll(*reader);
    ASSERT_EQ(samples.size(), clip.times.size());
    const auto timeOfFrame = [&](std::size_t index) {
        return CMTimeMake(clip.times[index] * clip.timeBase.num, clip.timeBase.den);
    };
    for (std::size_t index = 0; index < samples.size(); ++index) {
        EXPECT_EQ(CMTimeCompare(timeOf(samples[index]), timeOfFrame(index)), 0) << "frame " << index;
        EXPECT_LE(CMTimeCompare(CMSampleBufferGetDecodeTimeStamp(*samples[index]), timeOfFrame(index)), 0);
        EXPECT_EQ(numberIn(samples[index]), static_cast<int>(index));
        if (index + 1 == samples.size()) continue;
        const CMTime length = CMTimeSubtract(timeOfFrame(index + 1), timeOfFrame(index));
        EXPECT_EQ(CMTimeCompare(CMSampleBufferGetDuration(*samples[index]), length), 0) << "frame " << index;
    }
    EXPECT_EQ(CMTimeCompare(reader->information().start, timeOfFrame(0)), 0);
    EXPECT_EQ(reader->error(), std::nullopt);
    EXPECT_EQ(reader->lostFrameCount(), 0);

    const auto expectNext = [&](CMTime time, std::size_t index) {
        ASSERT_TRUE(reader->seek(time));
        const Samples rest = readAll(*reader);
        ASSERT_EQ(rest.size(), samples.size() - index);
        EXPECT_EQ(CMTimeCompare(timeOf(rest[0]), timeOf(samples[index])), 0);
        EXPECT_EQ(numberIn(rest[0]), static_cast<int>(index));
    };
    expectNext(kCMTimePositiveInfinity, samples.size() - 1);
    for (std::size_t index = samples.size(); index-- > 0;) {
        CMTime before = timeOf(samples[index]);
        before.value -= 1;
        expectNext(timeOf(samples[index]), index);
        expectNext(before, index == 0 ? 0 : index - 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Clips, TimesTest, testing::ValuesIn(timings),
                         [](const auto& timing) { return std::string(timing.param.name); });

struct Turn {
    const char* name;
    std::array<int, 4> matrix;
    int clockwise;
    std::pair<Int, Int> (*source)(Int x, Int y, Int width, Int height);  ///< of the upright (x, y); stored sides
};

const Turn turns[] = {
    {"clockwise", {0, 1, -1, 0}, 90, [](Int x, Int y, Int, Int h) { return std::pair(y, h - 1 - x); }},
    {"upside down", {-1, 0, 0, -1}, 180, [](Int x, Int y, Int w, Int h) { return std::pair(w - 1 - x, h - 1 - y); }},
    {"anticlockwise", {0, -1, 1, 0}, 270, [](Int x, Int y, Int w, Int) { return std::pair(w - 1 - y, x); }},
    {"mirrored", {-1, 0, 0, 1}, 0, [](Int x, Int y, Int w, Int) { return std::pair(w - 1 - x, y); }},
    {"transposed", {0, 1, 1, 0}, 270, [](Int x, Int y, Int, Int) { return std::pair(y, x); }},
};

class TurnTest : public ReaderTest, public testing::WithParamInterface<std::tuple<Turn, std::pair<int, int>>> {};

// Catches a turn in the wrong direction, done twice or not at all, planes that are turned differently, and edges of
// blocks that are left out.
TEST_P(TurnTest, FramesAreHandedOutUpright) {
    const Turn& turn = std::get<0>(GetParam());
    Clip clip;
    clip.matrix = AVCOL_SPC_BT709;
    std::tie(clip.width, clip.height) = std::get<1>(GetParam());
    clip.value = noise;
    const Samples stored = readAll(
        *open(write(clip, "stored.mov"), clip.width % 2 == 0 ? MovieFrameFormat::native : MovieFrameFormat::BGRA));
    clip.displayMatrix = turn.matrix;
    const auto reader = open(write(clip, "turned.mov"), MovieFrameFormat::native);
    const Samples turned = readAll(*reader);
    ASSERT_EQ(turned.size(), 1u);
    const auto buffer = CMSampleBufferGetImageBuffer(*turned[0]);
    const bool isPlanar = clip.width % 2 == 0;
    ASSERT_EQ(CVPixelBufferIsPlanar(*buffer), isPlanar);
    EXPECT_EQ(reader->information().clockwiseTurn, turn.clockwise);
    EXPECT_EQ(reader->information().width, CVPixelBufferGetWidth(*buffer));
    EXPECT_EQ(reader->information().height, CVPixelBufferGetHeight(*buffer));
    EXPECT_EQ(CVPixelBufferGetWidth(*buffer), turn.clockwise % 180 == 0 ? clip.width : clip.height);
    for (Int plane = 0; plane < (isPlanar ? 2 : 1); ++plane) {
        const Int size = !isPlanar ? 4 : plane + 1;
        const Int width = clip.width / (plane + 1), height = clip.height / (plane + 1);
        const std::vector<int> bytes = bytesOf(stored[0], plane, size);
        forEachElement(*buffer, plane, size, [&](const std::uint8_t* element, Int x, Int y) {
            const auto [sourceX, sourceY] = turn.source(x, y, width, height);
            ASSERT_TRUE(std::equal(element, element + size, bytes.begin() + (sourceY * width + sourceX) * size))
                << "plane " << plane << " at " << x << ", " << y;
        });
    }
}

// Chroma of odd sides can't be turned without being resampled, so such frames come as pixels.
INSTANTIATE_TEST_SUITE_P(Turns, TurnTest,
                         testing::Combine(testing::ValuesIn(turns),
                                          testing::Values(std::pair(70, 38), std::pair(37, 67))));

// Catches reading that stops at the damage, pictures that are shown with it, and a loss that isn't told or told twice.
TEST_F(ReaderTest, FramesAroundADamagedPacketArrive) {
    for (const char* encoder : {"mpeg4", "mpeg2video"}) {
        Clip clip = numbered(encoder, {1, 25}, evenTimes(20), 0);
        clip.framesPerKey = 1;
        clip.damagedPacket = 9;
        clip.value = noise;
        const auto file = write(clip, "damaged.avi");
        log_.clear();
        {
            const auto reader = open(file);
            EXPECT_EQ(readAll(*reader).size(), 19u) << encoder;
            EXPECT_EQ(reader->lostFrameCount(), 1) << encoder;
            EXPECT_EQ(reader->error(), std::nullopt);
        }
        EXPECT_THAT(log_.messages(), testing::Contains("damaged.avi is damaged: frames lost: 1").Times(1));
    }
}

// Catches frames of the new size in buffers of the old, and times that go back where the second part begins.
TEST_F(ReaderTest, FramesFollowASizeThatChangesHalfWay) {
    Clip clip = numbered("libx264", {1, 25}, evenTimes(20), 0);
    const std::string first = contentOf(write(clip, "first.ts"));
    clip.width = 96;
    clip.height = 80;
    const auto joined = folder_.write("joined.ts", first + contentOf(write(clip, "second.ts")));
    const Samples samples = readAll(joined);
    ASSERT_EQ(samples.size(), 40u);
    for (std::size_t index = 0; index < samples.size(); ++index) {
        EXPECT_EQ(CVPixelBufferGetWidth(*CMSampleBufferGetImageBuffer(*samples[index])), index < 20 ? 64 : 96);
        EXPECT_EQ(numberIn(samples[index]), static_cast<int>(index % 20));
        EXPECT_EQ(CMTimeCompare(timeOf(samples[index]),
                                CMTimeAdd(timeOf(samples[0]), CMTimeMake(static_cast<std::int64_t>(index), 25))),
                  0);
    }
}

// Catches a cut file that passes for a whole one.
TEST_F(ReaderTest, AFileThatEndsTooEarlySaysSoAfterItsFrames) {
    Clip clip = numbered("mpeg4", {1, 25}, evenTimes(25), 0);
    clip.framesPerKey = 1;
    clip.value = noise;
    const std::string whole = contentOf(write(clip, "whole.avi"));
    const auto cut = folder_.write("cut.avi", whole.substr(0, whole.size() / 2));
    const auto reader = open(cut);
    EXPECT_THAT(readAll(*reader).size(), testing::AllOf(testing::Gt(2u), testing::Lt(25u)));
    ASSERT_TRUE(reader->error());
    EXPECT_EQ(reader->error()->localizedDescription(), "the file ends too early");
}

// Catches a crash, or an unhelpful reason, for what isn't a movie that can be shown.
TEST_F(ReaderTest, BadFilesAreRefusedWithTheReason) {
    Clip clip = numbered("ffv1", {1, 25}, evenTimes(5), 0);
    clip.value = noise;
    const std::string movie = contentOf(write(clip, "movie.mov"));
    std::string unknownCodec = movie;
    unknownCodec.replace(unknownCodec.find("FFV1"), 4, "zzzz");
    std::string sound("RIFF\x24\x20\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x40\x1F\0\0\1\0\x8\0data\0\x20\0\0", 44);
    sound.append(8192, '\x80');
    std::string noise(5000, ' ');
    std::mt19937 random(1);
    for (char& byte : noise) byte = static_cast<char>(random());
    const std::pair<std::filesystem::path, const char*> table[] = {
        {folder_.path() / "missing.mp4", "no such file or directory"},
        {folder_.makeFolder("folder.mp4"), "is a directory"},
        {folder_.write("empty.mp4", ""), "the file is empty"},
        {folder_.write("text.txt", "just text\n"), "this is not a movie file"},
        {folder_.write("text.mp4", "just text\n"), "this is not a movie file"},
        {folder_.write("noise.mp4", noise), "this is not a movie file"},
        {folder_.write("cut.mov", movie.substr(0, movie.size() / 2)), "the file is damaged or incomplete: "},
        {folder_.write("sound.wav", sound), "the file holds no pictures"},
        {folder_.write("codec.mov", unknownCodec), "no decoder for zzzz"},
    };
    for (const auto& [file, reason] : table) {
        NSError error;
        EXPECT_EQ(MovieReader::open(URL(file), MovieFrameFormat::BGRA, &error), nullptr) << file;
        EXPECT_THAT(error.localizedDescription(), testing::StartsWith(reason)) << file;
    }
}

// Catches a slow consumer that holds up the source, and the newest being dropped instead of the oldest.
TEST(LiveSourceTest, DropsTheOldestWhenNobodyTakesThem) {
    const auto source =
        LiveSource::open("lavfi:testsrc2=size=32x32:rate=1000,trim=end_frame=20", MovieFrameFormat::BGRA, nullptr);
    ASSERT_NE(source, nullptr);
    while (source->droppedFrameCount() < 16) std::this_thread::yield();
    for (std::int64_t index = 16; index < 20; ++index) {
        const auto sample = source->copyNextSampleBuffer();
        ASSERT_NE(sample, nullptr);
        EXPECT_EQ(CMTimeCompare(timeOf(sample), CMTimeMake(index, 1000)), 0);
    }
    EXPECT_EQ(source->copyNextSampleBuffer(), nullptr);
    EXPECT_TRUE(source->isEnded());
    EXPECT_EQ(source->error(), std::nullopt);
}

// Catches a consumer that waits for ever, and a thread that outlives its source: the next frame is a day away.
TEST(LiveSourceTest, CancelEndsAWaitForAFrame) {
    const auto source = LiveSource::open("lavfi:testsrc2=size=32x32:rate=1/86400", MovieFrameFormat::BGRA, nullptr);
    ASSERT_NE(source, nullptr);
    EXPECT_NE(source->copyNextSampleBuffer(), nullptr);
    std::thread canceller([&] { source->cancel(); });
    EXPECT_EQ(source->copyNextSampleBuffer(), nullptr);
    canceller.join();
}

TEST(LiveSourceTest, NamesOfNoDeviceAreTold) {
    for (const char* name : {"movie.mp4", "lavfi:", ":x", "nonsense:x", "/a/b:c.mp4"}) {
        EXPECT_FALSE(LiveSource::isLiveName(name)) << name;
    }
    EXPECT_TRUE(LiveSource::isLiveName("lavfi:testsrc2"));
    NSError error;
    EXPECT_EQ(LiveSource::open("lavfi:nonsense", MovieFrameFormat::BGRA, &error), nullptr);
    EXPECT_NE(error.localizedDescription(), "");
}

}  // namespace

}  // namespace ondrix::test
