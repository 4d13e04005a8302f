#pragma once

#include <cstdint>
#include <vector>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/ffmpeg/FFmpegPointers.h>

namespace ondrix {

/// Turns pixel buffers into frames in an encoder's pixel format, in BT.709 where that is YCbCr. Internal: not
/// installed.
class EncoderPicture {
public:
    /// The format of the list, ended by AV_PIX_FMT_NONE, that takes the least work and loses least.
    [[nodiscard]] static AVPixelFormat bestFormat(const AVPixelFormat* formats);
    [[nodiscard]] static bool isYCbCr(AVPixelFormat format);

    /// Sides in pixels, even.
    EncoderPicture(int width, int height, AVPixelFormat format);

    /// A frame without a time that doesn't refer to the pixel buffer, whose size is that of this; it may change with
    /// the next call unless somebody else holds a reference. Throws std::bad_alloc, and `WritingFailure` for a pixel
    /// buffer in another format than 'BGRA', '420v' and '420f'.
    [[nodiscard]] AVFrame& fill(CVPixelBuffer& pixelBuffer);

private:
    void makeWritable();
    void fillYCbCr(CVPixelBuffer& pixelBuffer);
    void scale(CVPixelBuffer& pixelBuffer);

    const int width_;
    const int height_;
    const AVPixelFormat format_;
    FramePointer frame_;
    ScalerPointer scaler_;
    std::vector<std::uint8_t> chromaRow_;
};

}  // namespace ondrix
