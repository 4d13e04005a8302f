#pragma once

#include <cstdint>

namespace ondrix {

/// What the functions "Ondrix::Frames::Read..." read from buffer 0. A colour is, for each of red, green and blue,
/// luma * sample of luma + blue * sum of Cb + red * sum of Cr + offset, in 0...1.
struct FrameReadConstants {
    float luma[4], blue[4], red[4], offset[4];  ///< for red, green, blue; the fourth is unused
    std::int32_t halvesWidth, halvesHeight, isCentred, isSeparate, unusedBits, largest;  ///< as in PlaneLayout
};

/// What the functions "Ondrix::Frames::Write..." read from buffer 0. A sample of luma is weights * colour + the last,
/// rounded and limited to `smallest` and `largest`; likewise for both of chroma. It is stored times `scale`.
struct FrameWriteConstants {
    float luma[4], blue[4], red[4];  ///< weights of red, green and blue as samples, and what is added
    float lumaRange[2], chromaRange[2];
    float scale;  ///< what a sample of 1 is stored as, of 1 for all bits
    std::int32_t halvesWidth, halvesHeight, isCentred;
};

}  // namespace ondrix
