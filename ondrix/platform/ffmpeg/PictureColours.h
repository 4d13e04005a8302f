#pragma once

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/frame.h>
}

namespace ondrix {

/// What the numbers of a stored picture mean. Internal.
struct PictureColours {
    AVColorSpace matrix = AVCOL_SPC_RGB;  ///< AVCOL_SPC_RGB for pictures that aren't YCbCr; never unspecified
    bool isFullRange = true;
    bool isGuessed = false;  ///< the matrix isn't what the file says, which is nothing, but what is usual for the size

    [[nodiscard]] static PictureColours of(const AVFrame& frame);
    [[nodiscard]] static PictureColours of(const AVCodecParameters& parameters);
};

}  // namespace ondrix
