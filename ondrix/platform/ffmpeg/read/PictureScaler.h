#pragma once

#include <string>

#include <ondrix/platform/corevideo/PixelBufferLock.h>
#include <ondrix/platform/ffmpeg/read/PictureProperties.h>

namespace ondrix::ffmpeg {

/// Brings pictures into another pixel format of the same sides. For one thread at a time. Throws std::bad_alloc.
class PictureScaler {
public:
    /// Writes to `target`, which has its format and memory; matrix and range of YCbCr stay, red, green and blue become
    /// full range. False with the reason.
    [[nodiscard]] bool scale(const AVFrame& frame, const PictureColours& colours, AVFrame& target, std::string& reason);

private:
    /// What a scaler was made for.
    struct Key {
        int width = 0, height = 0, format = 0, targetFormat = 0;
        AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
        bool isFullRange = false;

        friend bool operator==(const Key&, const Key&) = default;
    };

    [[nodiscard]] bool prepare(const Key& key, std::string& reason);

    ScalerPointer scaler_;
    Key key_;
};

/// Gives `frame` a picture of this kind with memory of its own, unless it has one. Throws std::bad_alloc.
void preparePicture(FramePointer& frame, AVPixelFormat format, int width, int height);
/// The pixels as a picture that doesn't own them. Throws std::bad_alloc.
[[nodiscard]] FramePointer pictureIn(const PixelBufferLock& pixels, AVPixelFormat format);

}  // namespace ondrix::ffmpeg
