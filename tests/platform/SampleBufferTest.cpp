#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include <ondrix/platform/coremedia/CMSampleBuffer.h>

namespace ondrix {
namespace {

constexpr CMTime at(std::int64_t value, std::int32_t timescale) {
    return {value, timescale, kCMTimeFlags_Valid, 0};
}

TEST(SampleBuffer, RefusesADescriptionOfAnotherPicture) {
    constexpr OSType bgra = kCVPixelFormatType_32BGRA, nv12 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    const auto describe = [](std::int64_t width, std::int64_t height, OSType format) {
        std::shared_ptr<CVPixelBuffer> picture;
        std::shared_ptr<CMFormatDescription> description;
        EXPECT_EQ(CVPixelBufferCreate(width, height, format, nullptr, &picture), kCVReturnSuccess);
        EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(picture, &description), noErr);
        return std::pair(picture, description);
    };
    const auto [picture, description] = describe(6, 4, bgra);
    std::shared_ptr<CMFormatDescription> sound;
    ASSERT_EQ(CMFormatDescriptionCreate(kCMMediaType_Audio, bgra, &sound), noErr);

    const std::pair<std::shared_ptr<CMFormatDescription>, OSStatus> cases[] = {
        {describe(6, 4, bgra).second, noErr},
        {describe(4, 6, bgra).second, kCMSampleBufferError_InvalidMediaFormat},
        {describe(6, 4, nv12).second, kCMSampleBufferError_InvalidMediaFormat},
        {sound, kCMSampleBufferError_InvalidMediaFormat},
        {nullptr, kCMSampleBufferError_RequiredParameterMissing},
    };
    std::shared_ptr<CMSampleBuffer> sample;
    for (const auto& [other, status] : cases) {
        EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(picture, other, {}, &sample), status);
        EXPECT_EQ(sample != nullptr, status == noErr) << "what was there before is gone";
    }
    EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, description, {}, &sample),
              kCMSampleBufferError_RequiredParameterMissing);
}

TEST(SampleBuffer, GivesEachSampleItsTime) {
    const CMSampleTimingInfo entries[] = {{at(1, 30), at(10, 30), at(9, 30)}, {at(1, 25), at(20, 30), kCMTimeInvalid}};
    const struct {
        int samples, entryCount, firstEntry, index;
        CMTime presentation, decode, total;
    } cases[] = {
        {2, 2, 0, 1, at(20, 30), kCMTimeInvalid, at(11, 150)},
        {1024, 1, 0, 1023, at(1033, 30), at(1032, 30), at(1024, 30)},
        {4, 1, 1, 3, at(118, 150), kCMTimeInvalid, at(4, 25)},
    };
    std::shared_ptr<CMSampleBuffer> sample;
    CMSampleTimingInfo timing;
    for (const auto& c : cases) {
        ASSERT_EQ(CMSampleBufferCreateReady(nullptr, c.samples, c.entryCount, entries + c.firstEntry, &sample), noErr);
        ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(*sample, c.index, &timing), noErr);
        EXPECT_EQ(CMTimeCompare(timing.presentationTimeStamp, c.presentation), 0);
        EXPECT_EQ(CMTimeCompare(timing.decodeTimeStamp, c.decode), 0);
        EXPECT_EQ(CMTimeCompare(CMSampleBufferGetDuration(*sample), c.total), 0);
        for (const int index : {-1, c.samples}) {
            EXPECT_EQ(CMSampleBufferGetSampleTimingInfo(*sample, index, &timing),
                      kCMSampleBufferError_SampleIndexOutOfRange);
        }
    }
    ASSERT_EQ(CMSampleBufferCreateReady(nullptr, 3, 0, nullptr, &sample), noErr);
    EXPECT_EQ(CMSampleBufferGetSampleTimingInfo(*sample, 0, &timing), kCMSampleBufferError_BufferHasNoSampleTimingInfo);
    EXPECT_FALSE(CMTIME_IS_VALID(CMSampleBufferGetDuration(*sample)));
    for (const auto& [samples, count] : {std::pair{3, 2}, {1, 2}, {-1, -1}, {-1, 0}, {3, -1}}) {
        EXPECT_EQ(CMSampleBufferCreateReady(nullptr, samples, count, entries, &sample),
                  kCMSampleBufferError_InvalidEntryCount);
    }
}

}  // namespace
}  // namespace ondrix
