#pragma once

#include <string_view>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/corevideo/CVReturn.h>

namespace ondrix {

/// What can be stated of a frame beside its pixels. All values are texts.
enum class CVAttachment {
    YCbCrMatrix,       ///< how luma and chroma are made of red, green and blue
    TransferFunction,  ///< how numbers stand for light
    ColorPrimaries,    ///< which red, green and blue
    ChromaLocation,    ///< where chroma samples lie among those of luma
    ColorRange,        ///< for formats whose name doesn't tell it
    PeakLuminance,     ///< of the display that an HDR frame was made on, a decimal number of cd/m2
};

inline constexpr std::string_view kCVImageBufferYCbCrMatrix_ITU_R_601_4 = "ITU_R_601_4";
inline constexpr std::string_view kCVImageBufferYCbCrMatrix_ITU_R_709_2 = "ITU_R_709_2";
inline constexpr std::string_view kCVImageBufferYCbCrMatrix_ITU_R_2020 = "ITU_R_2020";  ///< not constant luminance
inline constexpr std::string_view kCVImageBufferTransferFunction_ITU_R_709_2 = "ITU_R_709_2";
inline constexpr std::string_view kCVImageBufferTransferFunction_sRGB = "IEC_sRGB";
inline constexpr std::string_view kCVImageBufferTransferFunction_SMPTE_ST_2084_PQ = "SMPTE_ST_2084_PQ";
inline constexpr std::string_view kCVImageBufferTransferFunction_ITU_R_2100_HLG = "ITU_R_2100_HLG";
inline constexpr std::string_view kCVImageBufferColorPrimaries_ITU_R_709_2 = "ITU_R_709_2";
inline constexpr std::string_view kCVImageBufferColorPrimaries_P3_D65 = "P3_D65";
inline constexpr std::string_view kCVImageBufferColorPrimaries_ITU_R_2020 = "ITU_R_2020";
inline constexpr std::string_view kCVImageBufferChromaLocation_Left = "Left";      ///< beside the left luma sample
inline constexpr std::string_view kCVImageBufferChromaLocation_Center = "Center";  ///< amid its luma samples
inline constexpr std::string_view kCVImageBufferColorRange_Video = "Video";        ///< 16 to 235 and 240 of 8 bits
inline constexpr std::string_view kCVImageBufferColorRange_Full = "Full";          ///< 0 to 255 of 8 bits

/// States something of a frame; an empty text takes it back. Fails without memory only. A buffer that goes back to its
/// pool forgets what was stated. Like pixels, attachments are for one thread at a time.
CVReturn CVBufferSetAttachment(CVPixelBuffer& buffer, CVAttachment attachment, std::string_view value);
/// Empty when nothing was stated. The text is valid until the attachment is set or the buffer gone.
[[nodiscard]] std::string_view CVBufferGetAttachment(const CVPixelBuffer& buffer, CVAttachment attachment);
/// Copies all that is stated of one frame to another.
CVReturn CVBufferPropagateAttachments(const CVPixelBuffer& from, CVPixelBuffer& to);
void CVBufferRemoveAllAttachments(CVPixelBuffer& buffer);

}  // namespace ondrix
