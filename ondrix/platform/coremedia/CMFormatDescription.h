#pragma once

#include <cstdint>
#include <memory>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/foundation/OSStatus.h>

namespace ondrix {

inline constexpr OSStatus kCMFormatDescriptionError_InvalidParameter = -12710;
inline constexpr OSStatus kCMFormatDescriptionError_AllocationFailed = -12711;

/// FourCC of what samples are.
using CMMediaType = OSType;
inline constexpr CMMediaType kCMMediaType_Video = 0x76696465;  ///< 'vide'
inline constexpr CMMediaType kCMMediaType_Audio = 0x736F756E;  ///< 'soun'

struct CMVideoDimensions {
    std::int32_t width = 0;   ///< pixels
    std::int32_t height = 0;  ///< pixels

    friend bool operator==(const CMVideoDimensions&, const CMVideoDimensions&) = default;
};

/// What the samples of a sample buffer are. Shared by reference; never changes.
class CMFormatDescription;

/// `mediaSubType` is the codec's or the pixel format's FourCC. On failure the description is set to null.
OSStatus CMFormatDescriptionCreate(CMMediaType mediaType, OSType mediaSubType,
                                   std::shared_ptr<CMFormatDescription>* formatDescription);
/// Describes the pixels of `imageBuffer`; invalid parameter when that is null.
OSStatus CMVideoFormatDescriptionCreateForImageBuffer(const std::shared_ptr<CVPixelBuffer>& imageBuffer,
                                                      std::shared_ptr<CMFormatDescription>* formatDescription);

[[nodiscard]] CMMediaType CMFormatDescriptionGetMediaType(const CMFormatDescription& description);
[[nodiscard]] OSType CMFormatDescriptionGetMediaSubType(const CMFormatDescription& description);
/// 0 x 0 when it isn't the description of a picture.
[[nodiscard]] CMVideoDimensions CMVideoFormatDescriptionGetDimensions(const CMFormatDescription& description);
/// True when `description` is that of the buffer's pixels: video of the same pixel format and sides.
[[nodiscard]] bool CMVideoFormatDescriptionMatchesImageBuffer(const CMFormatDescription& description,
                                                              const CVPixelBuffer& imageBuffer);

}  // namespace ondrix
