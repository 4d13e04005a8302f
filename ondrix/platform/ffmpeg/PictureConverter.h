#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <ondrix/platform/corevideo/CVPixelBufferPool.h>
#include <ondrix/platform/ffmpeg/BGRAConverter.h>
#include <ondrix/platform/ffmpeg/FFmpegPointers.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>
#include <ondrix/platform/ffmpeg/PictureColours.h>
#include <ondrix/platform/ffmpeg/PictureOrientation.h>

namespace ondrix {

/// Turns decoded pictures into pixel buffers: upright, '420v' and '420f' without any change to the numbers, or 'BGRA'.
/// Internal; for one thread at a time. Throws std::bad_alloc.
class PictureConverter {
public:
    PictureConverter(MovieFrameFormat format, PictureOrientation streamOrientation)
        : format_(format), streamOrientation_(streamOrientation) {}

    /// A buffer of a pool that holds buffers of the same kind, until a picture of another kind comes. Null with the
    /// reason.
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> convert(const AVFrame& frame, const PictureColours& colours,
                                                         std::string& reason);

private:
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> makeBuffer(std::int64_t width, std::int64_t height, OSType format);
    void copyNative(const AVFrame& frame, PictureOrientation orientation, CVPixelBuffer& buffer);

    MovieFrameFormat format_;
    PictureOrientation streamOrientation_;
    std::shared_ptr<CVPixelBufferPool> pool_;
    std::int64_t poolWidth_ = 0, poolHeight_ = 0;
    OSType poolFormat_ = 0;
    BGRAConverter bgra_;
    FramePointer scratch_;  ///< BGRA before it is turned, or chroma before it is
};

}  // namespace ondrix
