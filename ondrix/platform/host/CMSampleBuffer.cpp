#include <cassert>
#include <limits>
#include <utility>
#include <vector>

#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

class CMSampleBuffer {
public:
    std::shared_ptr<CVPixelBuffer> imageBuffer;
    std::shared_ptr<CMFormatDescription> formatDescription;
    std::int64_t sampleCount;
    std::vector<CMSampleTimingInfo> timing;  ///< none, one for all samples, or one for each
};

namespace {

/// Durations can be multiplied by any count up to it.
constexpr std::int64_t maximumSampleCount = std::numeric_limits<std::int32_t>::max();

OSStatus makeSampleBuffer(std::shared_ptr<CVPixelBuffer> imageBuffer,
                          std::shared_ptr<CMFormatDescription> formatDescription, std::int64_t sampleCount,
                          const CMSampleTimingInfo* timing, std::int64_t timingCount,
                          std::shared_ptr<CMSampleBuffer>* sampleBuffer) {
    return os::orStatus(kCMSampleBufferError_AllocationFailed, [&] {
        *sampleBuffer = std::make_shared<CMSampleBuffer>(
            CMSampleBuffer{std::move(imageBuffer), std::move(formatDescription), sampleCount,
                           std::vector<CMSampleTimingInfo>(timing, timing + timingCount)});
        return noErr;
    });
}

CMTime later(CMTime time, CMTime sampleDuration, std::int64_t sampleCount) {
    if (sampleCount == 0) return time;  // whatever the duration
    return CMTimeAdd(time, CMTimeMultiply(sampleDuration, static_cast<std::int32_t>(sampleCount)));
}

}  // namespace

OSStatus CMSampleBufferCreateReadyWithImageBuffer(std::shared_ptr<CVPixelBuffer> imageBuffer,
                                                  std::shared_ptr<CMFormatDescription> formatDescription,
                                                  const CMSampleTimingInfo& sampleTiming,
                                                  std::shared_ptr<CMSampleBuffer>* sampleBuffer) {
    assert(sampleBuffer != nullptr);
    sampleBuffer->reset();
    if (imageBuffer == nullptr || formatDescription == nullptr) return kCMSampleBufferError_RequiredParameterMissing;
    if (!CMVideoFormatDescriptionMatchesImageBuffer(*formatDescription, *imageBuffer)) {
        return kCMSampleBufferError_InvalidMediaFormat;
    }
    return makeSampleBuffer(std::move(imageBuffer), std::move(formatDescription), 1, &sampleTiming, 1, sampleBuffer);
}

OSStatus CMSampleBufferCreateReady(std::shared_ptr<CMFormatDescription> formatDescription, std::int64_t sampleCount,
                                   std::int64_t sampleTimingEntryCount, const CMSampleTimingInfo* sampleTimingArray,
                                   std::shared_ptr<CMSampleBuffer>* sampleBuffer) {
    assert(sampleBuffer != nullptr);
    sampleBuffer->reset();
    const bool isEntryCount =
        sampleTimingEntryCount == 0 || sampleTimingEntryCount == 1 || sampleTimingEntryCount == sampleCount;
    if (sampleCount < 0 || sampleCount > maximumSampleCount || !isEntryCount) {
        return kCMSampleBufferError_InvalidEntryCount;
    }
    if (sampleTimingEntryCount > 0 && sampleTimingArray == nullptr) {
        return kCMSampleBufferError_RequiredParameterMissing;
    }
    return makeSampleBuffer(nullptr, std::move(formatDescription), sampleCount, sampleTimingArray,
                            sampleTimingEntryCount, sampleBuffer);
}

std::shared_ptr<CVPixelBuffer> CMSampleBufferGetImageBuffer(const CMSampleBuffer& sampleBuffer) {
    return sampleBuffer.imageBuffer;
}

std::shared_ptr<CMFormatDescription> CMSampleBufferGetFormatDescription(const CMSampleBuffer& sampleBuffer) {
    return sampleBuffer.formatDescription;
}

std::int64_t CMSampleBufferGetNumSamples(const CMSampleBuffer& sampleBuffer) {
    return sampleBuffer.sampleCount;
}

OSStatus CMSampleBufferGetSampleTimingInfo(const CMSampleBuffer& sampleBuffer, std::int64_t sampleIndex,
                                           CMSampleTimingInfo* timing) {
    assert(timing != nullptr);
    if (sampleIndex < 0 || sampleIndex >= sampleBuffer.sampleCount) return kCMSampleBufferError_SampleIndexOutOfRange;
    const std::vector<CMSampleTimingInfo>& entries = sampleBuffer.timing;
    if (entries.empty()) return kCMSampleBufferError_BufferHasNoSampleTimingInfo;
    if (entries.size() > 1) {
        *timing = entries[static_cast<std::size_t>(sampleIndex)];
    } else {
        const CMSampleTimingInfo& first = entries.front();
        *timing = {first.duration, later(first.presentationTimeStamp, first.duration, sampleIndex),
                   later(first.decodeTimeStamp, first.duration, sampleIndex)};
    }
    return noErr;
}

CMTime CMSampleBufferGetPresentationTimeStamp(const CMSampleBuffer& sampleBuffer) {
    return sampleBuffer.timing.empty() ? kCMTimeInvalid : sampleBuffer.timing.front().presentationTimeStamp;
}

CMTime CMSampleBufferGetDecodeTimeStamp(const CMSampleBuffer& sampleBuffer) {
    return sampleBuffer.timing.empty() ? kCMTimeInvalid : sampleBuffer.timing.front().decodeTimeStamp;
}

CMTime CMSampleBufferGetDuration(const CMSampleBuffer& sampleBuffer) {
    const std::vector<CMSampleTimingInfo>& entries = sampleBuffer.timing;
    if (entries.empty()) return kCMTimeInvalid;
    CMTime duration = entries.front().duration;
    if (entries.size() == 1) return CMTimeMultiply(duration, static_cast<std::int32_t>(sampleBuffer.sampleCount));
    for (std::size_t entry = 1; entry < entries.size(); ++entry) {
        duration = CMTimeAdd(duration, entries[entry].duration);
    }
    return duration;
}

}  // namespace ondrix
