#include <tuple>

#include <tests/video/Frames.h>

namespace ondrix {
namespace {

auto exactly(CMTime time) {
    return std::tuple(time.value, time.timescale, time.flags, time.epoch);
}

const auto device = DeviceManager::shared().defaultDevice();

TEST(SampleBufferOutputTest, HasThePictureAndTheTimingOfTheFirstSample) {
    const CMSampleTimingInfo first = {CMTimeMake(1001, 30000), CMTimeMake(-7007, 30000), {5, 90000, 3, 2}};
    const auto image = test::frame(8, 6);
    const auto made = device->textureConverter()->makeSampleBuffer(image, *test::sound(2, {first, {}}));
    CMSampleTimingInfo timing;
    ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(*made, 0, &timing), noErr);
    EXPECT_EQ(exactly(timing.duration), exactly(first.duration));
    EXPECT_EQ(exactly(timing.presentationTimeStamp), exactly(first.presentationTimeStamp));
    EXPECT_EQ(exactly(timing.decodeTimeStamp), exactly(first.decodeTimeStamp));
    EXPECT_EQ(CMSampleBufferGetImageBuffer(*made), image);
    EXPECT_TRUE(CMVideoFormatDescriptionMatchesImageBuffer(*CMSampleBufferGetFormatDescription(*made), *image));
}

TEST(SampleBufferOutputTest, SaysWhatFailed) {
    const test::LogCapture log;
    const auto converter = device->textureConverter();
    EXPECT_EQ(converter->makeSampleBuffer(test::frame(8, 6), *test::sound(0, {})), nullptr);
    EXPECT_EQ(converter->makeSampleBuffer(test::frame(8, 6), *test::sound(3, {})), nullptr);
    EXPECT_EQ(converter->makeSampleBuffer(nullptr, *test::sample(test::frame(8, 6))), nullptr);
    EXPECT_THAT(log.messages(), testing::ElementsAre("Failed to get sample timing info: -12734",
                                                     "Failed to get sample timing info: -12736",
                                                     "Failed to create CMVideoFormatDescription."));
}

TEST(SampleBufferOutputTest, TheBufferReturnsToItsPoolWithTheLastHolder) {
    const auto texture = test::PictureTexture::create(device, test::Picture::noise(16, 9, 1));
    const auto pool = device->textureConverter()->makePixelBufferPool(20, 9, kCVPixelFormatType_32BGRA);
    auto buffer = device->textureConverter()->makePixelBuffer(*texture, *pool);
    EXPECT_EQ(CVPixelBufferGetLockCount(*buffer), 0);
    auto made = device->textureConverter()->makeSampleBuffer(std::move(buffer), *test::sample(test::frame(2, 2)));
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 1);
    made.reset();
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 0);
    EXPECT_EQ(CVPixelBufferPoolGetFreeCount(*pool), 1);
}

}  // namespace
}  // namespace ondrix
