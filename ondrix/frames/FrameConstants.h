#pragma once

#include <cstdint>

namespace ondrix {

/// What the functions "Ondrix::Frames::Read..." read from buffer 0. A colour is, for each of red, green and blue,
/// luma * sample of luma + blue * sum of Cb + red * sum of Cr + offset, in 0...1.
struct FrameReadConstants {
    float luma[4], blue[4], red[4], offset[4];  ///< for red, green, blue; the fourth is unused
    std::int32_t halvesWidth, halvesHeight, isCentred, isSeparate, unusedBits, largest;  ///< as in PlaneLayout
};

/// What the functions "Ondrix::Frames::...Wide..." read from buffer 1: how colours that aren't SDR in BT.709 become so.
/// Light of 1 is the white of SDR. Curves are values at equal distances over 0...1, and straight between them.
struct FrameToneConstants {
    std::int32_t transfer;  ///< of the frame: 0 that of sRGB, 1 PQ, 2 HLG
    float toBT709[3][4];    ///< rows for red, green and blue of light; the fourth is unused
    float luminance[4];     ///< shares of red, green and blue in the frame's luminance
    float light[512];       ///< of a number; of HLG that of the scene
    /// What light is multiplied by so that the brightest component is shown by SDR: of PQ over that component's number,
    /// of HLG, whose system gamma is applied beside it, over the root of its light on the display.
    float gain[384];
};

/// What the functions "Ondrix::Frames::Write..." read from buffer 0. A sample of luma is weights * colour + the last,
/// limited to 0...`largest` and rounded; likewise for both of chroma. It is stored times `scale`.
struct FrameWriteConstants {
    float luma[4], blue[4], red[4];  ///< weights of red, green and blue as samples, and what is added
    float largest;                   ///< sample, all bits set
    float scale;                     ///< what a sample of 1 is stored as, of 1 for all bits
    std::int32_t halvesWidth, halvesHeight, isCentred;
};

}  // namespace ondrix
