#include <thread>

#include <ondrix/platform/ffmpeg/LiveSource.h>

#include "Frames.h"

namespace ondrix::test {
namespace {

using ReaderTest = MediaTest;

// Frames out of order, lost or twice, times that were rounded or moved, a search that ends at a key frame or one off.
TEST_F(ReaderTest, EachFrameComesOnceWithItsTimeAndIsFoundByIt) {
    const std::pair<const char*, Clip> clips[] = {
        {"variable.mkv", numbered("ffv1", {1, 1000}, {0, 40, 50, 130, 131, 400})},
        {"late.mkv", numbered("ffv1", {1, 1000}, {5000, 5040, 5080})},
        {"constant.mp4", numbered("mpeg4", {1001, 30000}, evenTimes(26), 2)},
        {"late.mov", numbered("mpeg4", {1, 600}, {900, 920, 940, 990, 1000, 1001, 1100, 1120, 1140, 1160}, 2)},
        {"constant.ts", numbered("libx264", {1, 25}, evenTimes(30), 2)},
        {"negative.ts", numbered("mpeg2video", {1, 25}, evenTimes(30, -125), 2)},
    };
    for (const auto& [name, clip] : clips) {
        SCOPED_TRACE(name);
        const auto reader = open(clip.write(path(name)));
        const auto& times = clip.times;
        const AVRational tick = clip.timeBase;
        const auto timeOfFrame = [&](std::size_t index) { return CMTimeMake(times[index] * tick.num, tick.den); };
        const auto expectRest = [&](std::size_t index) {
            const Samples samples = readAll(*reader);
            ASSERT_EQ(samples.size(), times.size() - index);
            for (const auto& sample : samples) {
                const CMTime time = timeOfFrame(index);
                EXPECT_EQ(numberIn(imageOf(sample)), static_cast<int>(index));
                EXPECT_EQ(CMTimeCompare(timeOf(sample), time), 0) << "frame " << index;
                EXPECT_LE(CMTimeCompare(CMSampleBufferGetDecodeTimeStamp(*sample), time), 0) << "frame " << index;
                if (++index == times.size()) break;
                const CMTime length = CMTimeSubtract(timeOfFrame(index), time);
                EXPECT_EQ(CMTimeCompare(CMSampleBufferGetDuration(*sample), length), 0) << "before " << index;
            }
        };
        expectRest(0);
        EXPECT_EQ(CMTimeCompare(reader->information().start, timeOfFrame(0)), 0);
        EXPECT_EQ(reader->error(), std::nullopt);
        EXPECT_EQ(reader->lostFrameCount(), 0);
        ASSERT_TRUE(reader->seek(kCMTimePositiveInfinity));
        expectRest(times.size() - 1);
        for (std::size_t index = times.size(); index-- > 0;) {
            ASSERT_TRUE(reader->seek(timeOfFrame(index)));
            expectRest(index);
            ASSERT_TRUE(reader->seek(CMTimeSubtract(timeOfFrame(index), CMTimeMake(1, 90000))));
            expectRest(index == 0 ? 0 : index - 1);
        }
    }
}

// A turn in the wrong direction, twice or not at all, planes turned differently, edges of blocks left out.
TEST_F(ReaderTest, FramesAreHandedOutUpright) {
    const std::pair<std::array<int, 4>, int> turns[] = {
        {{0, 1, -1, 0}, 90}, {{-1, 0, 0, -1}, 180}, {{0, -1, 1, 0}, 270}, {{-1, 0, 0, 1}, 0}, {{0, 1, 1, 0}, 270}};
    for (const auto& [matrix, clockwise] : turns) {
        // Chroma of odd sides can't be turned without being resampled, so such frames come as pixels.
        for (const auto& [storedWidth, storedHeight] : {std::pair(70, 38), std::pair(37, 67)}) {
            const bool isPlanar = storedWidth % 2 == 0;
            Clip clip{.width = storedWidth, .height = storedHeight, .matrix = AVCOL_SPC_BT709};
            const auto format = isPlanar ? MovieFrameFormat::native : MovieFrameFormat::BGRA;
            const Samples stored = readAll(*open(clip.write(path("stored.mov")), format));
            clip.displayMatrix = matrix;
            const auto reader = open(clip.write(path("turned.mov")), MovieFrameFormat::native);
            const Samples turned = readAll(*reader);
            ASSERT_EQ(turned.size(), 1u);
            const auto image = imageOf(turned[0]);
            ASSERT_EQ(CVPixelBufferIsPlanar(*image), isPlanar);
            EXPECT_EQ(reader->information().clockwiseTurn, clockwise);
            EXPECT_EQ(reader->information().width, CVPixelBufferGetWidth(*image));
            EXPECT_EQ(reader->information().height, CVPixelBufferGetHeight(*image));
            EXPECT_EQ(CVPixelBufferGetWidth(*image), clockwise % 180 == 0 ? storedWidth : storedHeight);
            const auto [a, b, c, d] = matrix;
            for (Int plane = 0; plane < (isPlanar ? 2 : 1); ++plane) {
                const Int size = bytesPerElement(image, plane), storedRow = storedWidth / (plane + 1);
                const Int width = CVPixelBufferGetWidthOfPlane(*image, plane);
                const Int height = CVPixelBufferGetHeightOfPlane(*image, plane);
                const std::vector<int> source = bytesOf(imageOf(stored[0]), plane), result = bytesOf(image, plane);
                ASSERT_EQ(source.size(), result.size());
                for (Int i = 0; i < width * height * size; ++i) {
                    const Int x = i / size % storedRow, y = i / size / storedRow;
                    const Int shownX = a * x + c * y + (a + c < 0 ? width - 1 : 0);
                    const Int shownY = b * x + d * y + (b + d < 0 ? height - 1 : 0);
                    ASSERT_EQ(result[(shownY * width + shownX) * size + i % size], source[i]) << plane << ": " << i;
                }
            }
        }
    }
}

/// 25 frames, each a key frame.
Clip keyFrames(const char* encoder, int damaged = -1) {
    return {
        .encoder = encoder, .timeBase = {1, 25}, .times = evenTimes(25), .framesPerKey = 1, .damagedPacket = damaged};
}

// Reading that stops at damage, pictures shown with it, a loss not told or told twice, a cut file taken for whole.
TEST_F(ReaderTest, FramesAroundDamageArrive) {
    for (const char* encoder : {"mpeg4", "mpeg2video"}) {
        log.clear();
        auto reader = open(keyFrames(encoder, 9).write(path("damaged.avi")));
        EXPECT_EQ(readAll(*reader).size(), 24u) << encoder;
        EXPECT_EQ(reader->lostFrameCount(), 1) << encoder;
        EXPECT_EQ(reader->error(), std::nullopt);
        reader.reset();
        EXPECT_THAT(log.messages(), testing::Contains("damaged.avi is damaged: frames lost: 1").Times(1));
    }
    const auto cut = keyFrames("mpeg4").write(path("cut.avi"));
    std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
    const auto reader = open(cut);
    EXPECT_THAT(readAll(*reader).size(), testing::AllOf(testing::Gt(2u), testing::Lt(25u)));
    ASSERT_TRUE(reader->error());
    EXPECT_EQ(reader->error()->localizedDescription(), "the file ends too early");
}

// Frames of the new size in buffers of the old, and times that go back where the second part begins.
TEST_F(ReaderTest, FramesFollowASizeThatChangesHalfWay) {
    Clip clip = numbered("libx264", {1, 25}, evenTimes(20));
    const std::string first = contentOf(clip.write(path("first.ts")));
    clip.width = 96;
    clip.height = 80;
    const Samples samples = readAll(*open(folder.write("joined.ts", first + contentOf(clip.write(path("second.ts"))))));
    ASSERT_EQ(samples.size(), 40u);
    for (int index = 0; index < 40; ++index) {
        EXPECT_EQ(CVPixelBufferGetWidth(*imageOf(samples[index])), index < 20 ? 64 : 96);
        EXPECT_EQ(numberIn(imageOf(samples[index])), index % 20);
        EXPECT_EQ(CMTimeCompare(timeOf(samples[index]), CMTimeAdd(timeOf(samples[0]), CMTimeMake(index, 25))), 0);
    }
}

// A crash, or an unhelpful reason, for what isn't a movie that can be shown.
TEST_F(ReaderTest, BadFilesAreRefusedWithTheReason) {
    const std::string movie = contentOf(keyFrames("ffv1").write(path("movie.mov")));
    auto unknownCodec = movie;
    unknownCodec.replace(unknownCodec.find("FFV1"), 4, "zzzz");
    writeSound(path("sound.mp4"), 10);
    const auto random = Picture::noise(50, 25, 1).bytes;
    const std::pair<std::filesystem::path, const char*> table[] = {
        {path("missing.mp4"), "no such file or directory"},
        {folder.makeFolder("folder.mp4"), "is a directory"},
        {folder.write("empty.mp4", ""), "the file is empty"},
        {folder.write("text.txt", "just text\n"), "this is not a movie file"},
        {folder.write("noise.mp4", std::string(random.begin(), random.end())), "this is not a movie file"},
        {folder.write("cut.mov", movie.substr(0, movie.size() / 2)), "the file is damaged or incomplete: "},
        {path("sound.mp4"), "the file holds no pictures"},
        {folder.write("codec.mov", unknownCodec), "no decoder for zzzz"},
    };
    for (const auto& [file, reason] : table) {
        EXPECT_THAT([&file = file] { (void)open(file); },
                    testing::ThrowsMessage<std::runtime_error>(testing::StartsWith(reason)));
    }
}

// A reader that goes on, or reports as a failure that it was cancelled.
TEST_F(ReaderTest, AnotherThreadMayCancel) {
    const auto reader = open(numbered("ffv1", {1, 25}, evenTimes(30)).write(path("movie.mkv")));
    EXPECT_NE(reader->copyNextSampleBuffer(), nullptr);
    const std::jthread canceller([&] { reader->cancel(); });
    while (reader->copyNextSampleBuffer() != nullptr || reader->seek(kCMTimeZero)) {
    }
    EXPECT_EQ(reader->error(), std::nullopt);
}

// A slow consumer that holds up the source, and the newest being dropped instead of the oldest.
TEST(LiveSourceTest, DropsTheOldestWhenNobodyTakesThem) {
    const auto source =
        LiveSource::open("lavfi:testsrc2=s=8x8:r=1000,trim=end_frame=20", MovieFrameFormat::BGRA, nullptr);
    while (source->droppedFrameCount() < 16) std::this_thread::yield();
    for (std::int64_t index = 16; index < 20; ++index) {
        EXPECT_EQ(CMTimeCompare(timeOf(source->copyNextSampleBuffer()), CMTimeMake(index, 1000)), 0);
    }
    EXPECT_EQ(source->copyNextSampleBuffer(), nullptr);
    EXPECT_TRUE(source->isEnded());
    EXPECT_EQ(source->error(), std::nullopt);
}

// A consumer that waits for ever, and a thread that outlives its source: the next frame is a day away.
TEST(LiveSourceTest, CancelEndsAWaitForAFrame) {
    const auto source = LiveSource::open("lavfi:testsrc2=s=32x32:r=1/86400", MovieFrameFormat::BGRA, nullptr);
    EXPECT_NE(source->copyNextSampleBuffer(), nullptr);
    const std::jthread canceller([&] { source->cancel(); });
    EXPECT_EQ(source->copyNextSampleBuffer(), nullptr);
}

}  // namespace
}  // namespace ondrix::test
