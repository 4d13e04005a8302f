#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include <png.h>

namespace ondrix::image {

/// Pixels in memory, of four bytes each with straight alpha. Owned by somebody else.
struct Pixels {
    const std::uint8_t* bytes = nullptr;  ///< first pixel of the top row
    std::uint32_t width = 0;              ///< pixels
    std::uint32_t height = 0;             ///< pixels
    std::uint64_t bytesPerRow = 0;        ///< at least 4 * width
    bool blueFirst = false;               ///< blue, green, red, alpha; otherwise red comes first
};

/// Encodes a PNG file of 8 bits a channel, sRGB, without an alpha channel where every pixel is opaque. For one picture.
class PNGEncoder {
public:
    /// Throws std::bad_alloc.
    PNGEncoder();
    ~PNGEncoder();
    PNGEncoder(const PNGEncoder&) = delete;
    PNGEncoder& operator=(const PNGEncoder&) = delete;

    /// Writes all of the file to `stream`. False with a reason of one line without a full stop on failure.
    bool write(const Pixels& pixels, std::FILE* stream, std::string& reason);

private:
    /// This holds what libpng's errors jump over: no object with a destructor may be made in it.
    bool encode(const Pixels& pixels, bool opaque, std::FILE* stream);

    static void onError(png_structp png, png_const_charp message);
    static void onWarning(png_structp, png_const_charp) {}

    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    char message_[128] = {};  ///< libpng's text for the error
};

}  // namespace ondrix::image
