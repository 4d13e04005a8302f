#include "Picture.h"

#include <cerrno>

#include <png.h>

#include "tools/system/Failure.h"
#include "tools/system/OutputFile.h"

namespace ondrix::tools {
namespace {

bool isOpaque(const Pixels& pixels) {
    std::byte alpha{255};
    for (std::size_t at = 3; at < pixels.bytes.size(); at += 4) alpha &= pixels.bytes[at];
    return alpha == std::byte{255};
}

/// Closes the gaps that the alpha bytes leave.
void dropAlpha(Pixels& pixels) {
    auto to = pixels.bytes.begin();
    for (auto from = to; from != pixels.bytes.end(); from += 4) {
        for (int channel = 0; channel < 3; ++channel) *to++ = from[channel];
    }
    pixels.bytesPerRow = 3 * pixels.width;
}

}  // namespace

std::string description(PictureSize size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

void writePicture(const std::string& path, Pixels pixels) {
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
    const int written = png_image_write_to_stdio(&image, file.stream(), 0, pixels.bytes.data(), stride, nullptr);
    const std::string reason = image.message;
    png_image_free(&image);
    if (written == 0) file.failWithSystemError(reason);
    file.keep();
}

}  // namespace ondrix::tools
