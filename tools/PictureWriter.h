#pragma once

#include <cstdint>
#include <string>

namespace ondrix::tools {

/// Pixels in memory, four bytes each: blue, green, red, alpha, not premultiplied. Owned by somebody else.
struct BGRAPixels {
    std::uint8_t* bytes = nullptr;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t bytesPerRow = 0;
};

/// Writes a PNG file of 8 bits a channel, without an alpha channel when every pixel is opaque. The pixels are undefined
/// afterwards. Throws `Failure` and leaves no file when that can't be done.
void writePicture(const std::string& path, const BGRAPixels& pixels);

}  // namespace ondrix::tools
