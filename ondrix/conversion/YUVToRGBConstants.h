#pragma once

#include <ondrix/platform/simd/simd.h>
#include <ondrix/types/YUVFormats.h>

namespace ondrix {

/// What the function "Ondrix::YUVtoRGB::CS_Main" reads from buffer 0: rgb = colorMatrix * (luma, cb - 0.5, cr - 0.5) +
/// luma offset, with all values 0 to 1. The luma offset is added after the scaling.
struct YUVToRGBConstants {
    simd_float3x3 colorMatrix;  ///< columns for luma, Cb and Cr, each padded to 16 bytes
    simd_float4 chromaOffset;   ///< in x and y, subtracted from Cb and Cr
    simd_float4 lumaOffset;     ///< in x, added to each of red, green and blue
};
static_assert(sizeof(YUVToRGBConstants) == 80);

/// The BT.709 constants of a format, which must not be `Unknown`.
[[nodiscard]] const YUVToRGBConstants& yuvToRGBConstants(YUVFormats format);

}  // namespace ondrix
