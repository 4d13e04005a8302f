#pragma once

#include <string>

#include <ondrix/platform/ffmpeg/read/PictureScaler.h>

namespace ondrix::ffmpeg {

/// Converts decoded pictures to BGRA, by the matrix and range of their colours, within two levels of the exact value.
/// For one thread at a time. Throws std::bad_alloc.
class BGRAConverter {
public:
    /// Writes to `target`, a picture of the same sides in BGRA. False with the reason.
    [[nodiscard]] bool convert(const AVFrame& frame, const PictureColours& colours, AVFrame& target,
                               std::string& reason);

private:
    PictureScaler scaler_;
    FramePointer planes_;  ///< green, blue and red, from which the pixels are put together
};

}  // namespace ondrix::ffmpeg
