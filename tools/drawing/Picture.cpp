#include "Picture.h"

#include <cerrno>

#include <png.h>

#include "tools/system/Failure.h"
#include "tools/system/OutputFile.h"

namespace ondrix::tools {
namespace {

bool isOpaque(const BGRAPixels& pixels) {
    for (std::int64_t y = 0; y < pixels.height; ++y) {
        const std::uint8_t* const row = pixels.bytes + y * pixels.bytesPerRow;
        std::uint8_t alpha = 255;
        for (std::int64_t x = 0; x < pixels.width; ++x) alpha &= row[4 * x + 3];
        if (alpha != 255) return false;
    }
    return true;
}

/// Closes the gaps that the alpha bytes leave, row by row in place.
void dropAlpha(const BGRAPixels& pixels) {
    for (std::int64_t y = 0; y < pixels.height; ++y) {
        std::uint8_t* const row = pixels.bytes + y * pixels.bytesPerRow;
        for (std::int64_t x = 0; x < pixels.width; ++x) {
            for (std::int64_t channel = 0; channel < 3; ++channel) row[3 * x + channel] = row[4 * x + channel];
        }
    }
}

}  // namespace

std::string description(PictureSize size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

void writePicture(const std::string& path, const BGRAPixels& pixels) {
    OutputFile file(path);

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(pixels.width);
    image.height = static_cast<png_uint_32>(pixels.height);
    image.format = PNG_FORMAT_BGRA;
    if (isOpaque(pixels)) {
        dropAlpha(pixels);
        image.format = PNG_FORMAT_BGR;
    }
    errno = 0;
    const auto stride = static_cast<png_int_32>(pixels.bytesPerRow);
    const int written = png_image_write_to_stdio(&image, file.stream(), 0, pixels.bytes, stride, nullptr);
    const std::string reason = image.message;
    png_image_free(&image);
    if (written == 0) file.failWithSystemError(reason);
    file.keep();
}

}  // namespace ondrix::tools
