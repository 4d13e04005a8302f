#pragma once

#include <cstdint>
#include <memory>

#include <ondrix/platform/coremedia/CMFormatDescription.h>
#include <ondrix/platform/coremedia/CMTime.h>
#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/foundation/OSStatus.h>

namespace ondrix {

inline constexpr OSStatus kCMSampleBufferError_AllocationFailed = -12730;
inline constexpr OSStatus kCMSampleBufferError_RequiredParameterMissing = -12731;
inline constexpr OSStatus kCMSampleBufferError_SampleIndexOutOfRange = -12734;
inline constexpr OSStatus kCMSampleBufferError_BufferHasNoSampleTimingInfo = -12736;
inline constexpr OSStatus kCMSampleBufferError_InvalidEntryCount = -12738;
inline constexpr OSStatus kCMSampleBufferError_InvalidMediaFormat = -12743;

/// When one sample is shown and decoded. Each may be invalid: not known.
struct CMSampleTimingInfo {
    CMTime duration;               ///< how long it is shown
    CMTime presentationTimeStamp;  ///< when it begins to be shown
    CMTime decodeTimeStamp;        ///< invalid where samples are decoded in the order in which they are shown
};

/// Media samples with their timing: one picture, or samples without one, such as sound. Shared by reference; never
/// changes, so it may be read from any thread.
class CMSampleBuffer;

/// One sample: a picture. Required parameter missing without a picture or description; invalid media format when the
/// description isn't that of the picture. On failure `sampleBuffer` is set to null.
OSStatus CMSampleBufferCreateReadyWithImageBuffer(std::shared_ptr<CVPixelBuffer> imageBuffer,
                                                  std::shared_ptr<CMFormatDescription> formatDescription,
                                                  const CMSampleTimingInfo& sampleTiming,
                                                  std::shared_ptr<CMSampleBuffer>* sampleBuffer);
/// Samples without a picture. `formatDescription` may be null. There are as many timing entries as samples; or one,
/// with the duration of each sample and the times of the first; or none. Any other count is an invalid entry count, as
/// are samples below 0 or from 2^31 on; entries without an array are a required parameter missing.
OSStatus CMSampleBufferCreateReady(std::shared_ptr<CMFormatDescription> formatDescription, std::int64_t sampleCount,
                                   std::int64_t sampleTimingEntryCount, const CMSampleTimingInfo* sampleTimingArray,
                                   std::shared_ptr<CMSampleBuffer>* sampleBuffer);

/// Null when the samples aren't a picture.
[[nodiscard]] std::shared_ptr<CVPixelBuffer> CMSampleBufferGetImageBuffer(const CMSampleBuffer& sampleBuffer);
/// Null when there is none.
[[nodiscard]] std::shared_ptr<CMFormatDescription> CMSampleBufferGetFormatDescription(
    const CMSampleBuffer& sampleBuffer);
[[nodiscard]] std::int64_t CMSampleBufferGetNumSamples(const CMSampleBuffer& sampleBuffer);

/// Timing of one sample, counted from 0; derived from the first where all samples share one entry. Writes to `timing`
/// only on success; otherwise sample index out of range, or no sample timing info.
OSStatus CMSampleBufferGetSampleTimingInfo(const CMSampleBuffer& sampleBuffer, std::int64_t sampleIndex,
                                           CMSampleTimingInfo* timing);
/// Of the first sample; invalid where not known.
[[nodiscard]] CMTime CMSampleBufferGetPresentationTimeStamp(const CMSampleBuffer& sampleBuffer);
[[nodiscard]] CMTime CMSampleBufferGetDecodeTimeStamp(const CMSampleBuffer& sampleBuffer);
/// Of all samples together; invalid where not known.
[[nodiscard]] CMTime CMSampleBufferGetDuration(const CMSampleBuffer& sampleBuffer);

}  // namespace ondrix
