#pragma once

#include <cstdint>
#include <string>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/ffmpeg/FFmpeg.h>

namespace ondrix::ffmpeg {

/// What the numbers of a stored picture mean.
struct PictureColours {
    AVColorSpace matrix = AVCOL_SPC_RGB;  ///< AVCOL_SPC_RGB for pictures that aren't YCbCr; never unspecified
    bool isFullRange = true;
    bool isGuessed = false;  ///< the file doesn't name the matrix, which is the usual one for the picture's size

    [[nodiscard]] static PictureColours of(const AVFrame& frame);
    [[nodiscard]] static PictureColours of(const AVCodecParameters& parameters);
};

/// How a stored picture is brought upright: first mirrored left to right, if it has to be, and then turned.
struct PictureOrientation {
    bool isMirrored = false;
    int clockwiseQuarters = 0;  ///< 0 to 3

    [[nodiscard]] static PictureOrientation of(const AVStream& stream);
    /// The frame's own, or else that of its stream.
    [[nodiscard]] static PictureOrientation of(const AVFrame& frame, PictureOrientation streamOrientation);

    [[nodiscard]] bool isUpright() const { return !isMirrored && clockwiseQuarters == 0; }
    [[nodiscard]] bool swapsSides() const { return clockwiseQuarters % 2 != 0; }
};

/// Of the display that a stream's pictures were made on, cd/m2 as text; empty where it doesn't say.
[[nodiscard]] std::string peakLuminanceOf(const AVStream& stream);

/// States as attachments of an upright pixel buffer what is known of the picture's colours. `peakLuminance` is that of
/// its stream. Throws std::bad_alloc.
void attachColours(CVPixelBuffer& buffer, const AVFrame& frame, const PictureColours& colours,
                   PictureOrientation orientation, const std::string& peakLuminance);

}  // namespace ondrix::ffmpeg
