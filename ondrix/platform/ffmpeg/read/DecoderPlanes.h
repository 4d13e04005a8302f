#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <ondrix/platform/corevideo/CVPixelBufferPool.h>
#include <ondrix/platform/ffmpeg/read/PictureScaler.h>

namespace ondrix::ffmpeg {

/// A plane as it is stored: sides in elements, bytes from row to row, which may be below zero.
struct StoredPlane {
    const std::uint8_t* bytes;
    std::int64_t bytesPerRow;
    std::int64_t width, height;
};

/// Writes the plane upright. Elements have 1, 2 or 4 bytes; the target has the turned sides.
void copyUpright(const StoredPlane& source, PictureOrientation orientation, std::int64_t bytesPerElement,
                 std::uint8_t* target, std::int64_t targetBytesPerRow);

/// Pixel buffers of one kind after the other, from a pool. For one thread at a time.
class PictureBuffers {
public:
    /// Throws std::bad_alloc.
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> make(std::int64_t width, std::int64_t height, OSType format);

private:
    std::shared_ptr<CVPixelBufferPool> pool_;  ///< another one when pictures of another kind come
    std::int64_t width_ = 0, height_ = 0;
    OSType format_ = 0;
};

/// Hands on decoded pictures as pixel buffers: the decoder's own memory where the framework knows its format. Pictures
/// in other formats are brought into the nearest one that it knows; those that have to be turned, or whose rows go
/// upwards, are copied. For one thread at a time. Throws std::bad_alloc.
class DecoderPlanes {
public:
    /// False for pictures without such a format, or with colours that it can't state: they are converted to BGRA.
    [[nodiscard]] static bool canHold(const AVFrame& frame, const PictureColours& colours);

    /// Of pictures that it can hold: the numbers as they are stored, upright, without attachments. Null with the
    /// reason.
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> make(const AVFrame& frame, const PictureColours& colours,
                                                      PictureOrientation orientation, std::string& reason);

private:
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> copy(const AVFrame& picture, OSType type,
                                                      PictureOrientation orientation);

    PictureBuffers buffers_;
    PictureScaler scaler_;
    FramePointer scratch_;  ///< what isn't turned yet
};

}  // namespace ondrix::ffmpeg
