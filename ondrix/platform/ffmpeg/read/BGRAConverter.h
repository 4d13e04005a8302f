#pragma once

#include <string>

#include <ondrix/platform/ffmpeg/read/PictureProperties.h>

namespace ondrix::ffmpeg {

/// Converts decoded pictures to BGRA, by the matrix and range of their colours, within two levels of the exact value.
/// For one thread at a time. Throws std::bad_alloc.
class BGRAConverter {
public:
    /// Writes to `target`, a picture of the same sides in BGRA. False with the reason.
    [[nodiscard]] bool convert(const AVFrame& frame, const PictureColours& colours, AVFrame& target,
                               std::string& reason);

private:
    /// What a scaler was made for.
    struct Key {
        int width = 0, height = 0, format = 0, targetFormat = 0;
        AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
        bool isFullRange = false;

        friend bool operator==(const Key&, const Key&) = default;
    };

    [[nodiscard]] bool prepareScaler(const Key& key, std::string& reason);

    ScalerPointer scaler_;
    Key key_;
    FramePointer planes_;  ///< green, blue and red, from which the pixels are put together
};

/// Gives `frame` a picture of this kind with memory of its own, unless it has one. Throws std::bad_alloc.
void preparePicture(FramePointer& frame, AVPixelFormat format, int width, int height);

}  // namespace ondrix::ffmpeg
