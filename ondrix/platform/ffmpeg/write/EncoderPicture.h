#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/ffmpeg/FFmpeg.h>

namespace ondrix::ffmpeg {

/// Turns pixel buffers into frames in an encoder's pixel format, in BT.709 where that is YCbCr.
class EncoderPicture {
public:
    /// The format of the list, ended by AV_PIX_FMT_NONE, that takes the least work and loses least.
    [[nodiscard]] static AVPixelFormat bestFormat(const AVPixelFormat* formats);
    [[nodiscard]] static bool isYCbCr(AVPixelFormat format);
    /// Of pixel buffers that take the least work.
    [[nodiscard]] static OSType nearestFormat(AVPixelFormat format);

    /// Frames have the sides, which are even, the pixel format and the colours of the encoder, which outlives this.
    explicit EncoderPicture(const AVCodecContext& encoder);

    /// A frame without a time. The next call may change it, unless somebody else holds a reference. It has nothing of
    /// the pixel buffer's memory, or is that itself where the encoder copies it before it has handed out its packets.
    /// The pixel buffer has the size of the frames. Throws std::bad_alloc, and `WritingFailure` for a pixel buffer in
    /// another format than 'BGRA', '420v', '420f' and 'y420'.
    [[nodiscard]] AVFrame& fill(const std::shared_ptr<CVPixelBuffer>& pixelBuffer);

private:
    [[nodiscard]] bool wrap(const std::shared_ptr<CVPixelBuffer>& pixelBuffer);
    void makeWritable();
    void setProperties(AVFrame& frame) const;
    void fillYCbCr(CVPixelBuffer& pixelBuffer);
    void scale(CVPixelBuffer& pixelBuffer);

    const AVCodecContext& encoder_;
    FramePointer frame_;    ///< of its own memory
    FramePointer wrapper_;  ///< around a pixel buffer's
    ScalerPointer scaler_;
    std::vector<std::uint8_t> chromaRow_;
};

}  // namespace ondrix::ffmpeg
