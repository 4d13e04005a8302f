#pragma once

#include <cstdint>
#include <string>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>

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

/// Gives access to a pixel buffer's bytes as long as it lives.
class LockedPixels {
public:
    explicit LockedPixels(CVPixelBuffer& buffer) : buffer_(buffer) { CVPixelBufferLockBaseAddress(buffer_, 0); }
    ~LockedPixels() { CVPixelBufferUnlockBaseAddress(buffer_, 0); }
    LockedPixels(const LockedPixels&) = delete;
    LockedPixels& operator=(const LockedPixels&) = delete;

private:
    CVPixelBuffer& buffer_;
};

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
