#pragma once

namespace ondrix {

/// The YUV layout of a pixel buffer as the texture converter sees it.
enum class YUVFormats : unsigned char {
    Unknown,         ///< anything but the following
    NV12FullRange,   ///< 4:2:0 in two planes, luma and chroma 0 to 255
    NV12VideoRange,  ///< 4:2:0 in two planes, luma 16 to 235, chroma 16 to 240
};

}  // namespace ondrix
