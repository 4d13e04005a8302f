#pragma once

#include <cstdint>
#include <string>

#include <ondrix/resources/Pixels.h>

namespace ondrix::tools {

/// Sides of a picture in pixels, 1 to 16384 each; 0x0 where the user gave none.
struct PictureSize {
    std::int64_t width = 0;
    std::int64_t height = 0;

    [[nodiscard]] bool isGiven() const noexcept { return width > 0; }
    /// As 4:2:0 needs, where two by two pixels share their chroma.
    [[nodiscard]] bool isEven() const noexcept { return width % 2 == 0 && height % 2 == 0; }
};

/// "640x480"
[[nodiscard]] std::string description(PictureSize size);

/// Writes a PNG file of 8 bits a channel, without an alpha channel when every pixel is opaque. The pixels are
/// bgra8Unorm, not premultiplied. Throws `Failure` and leaves no file when that can't be done.
void writePicture(const std::string& path, Pixels pixels);

}  // namespace ondrix::tools
