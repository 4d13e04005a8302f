#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <new>

#include <ondrix/platform/image/PNGEncoder.h>
#include <ondrix/platform/image/Stream.h>

namespace ondrix::image {

namespace {

bool isOpaque(const Pixels& pixels) {
    for (std::uint32_t y = 0; y < pixels.height; ++y) {
        const std::uint8_t* const row = pixels.bytes + y * pixels.bytesPerRow;
        std::uint8_t alpha = 255;
        for (std::uint32_t x = 0; x < pixels.width; ++x) alpha &= row[4 * x + 3];
        if (alpha != 255) return false;
    }
    return true;
}

}  // namespace

PNGEncoder::PNGEncoder() : png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning)) {
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
    if (info_ == nullptr) {
        png_destroy_write_struct(&png_, nullptr);
        throw std::bad_alloc();
    }
}

PNGEncoder::~PNGEncoder() {
    png_destroy_write_struct(&png_, &info_);
}

bool PNGEncoder::write(const Pixels& pixels, std::FILE* stream, std::string& reason) {
    errno = 0;
    if (encode(pixels, isOpaque(pixels), stream)) return true;
    reason = errno != 0 ? lastSystemError() : message_;
    return false;
}

bool PNGEncoder::encode(const Pixels& pixels, bool opaque, std::FILE* stream) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_init_io(png_, stream);
    png_set_IHDR(png_, info_, pixels.width, pixels.height, 8, opaque ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGB_ALPHA,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_sRGB(png_, info_, PNG_sRGB_INTENT_PERCEPTUAL);
    png_write_info(png_, info_);
    if (pixels.blueFirst) png_set_bgr(png_);
    if (opaque) png_set_filler(png_, 0, PNG_FILLER_AFTER);  // leaves the fourth bytes out
    for (std::uint32_t y = 0; y < pixels.height; ++y) png_write_row(png_, pixels.bytes + y * pixels.bytesPerRow);
    png_write_end(png_, info_);
    return true;
}

void PNGEncoder::onError(png_structp png, png_const_charp message) {
    auto& encoder = *static_cast<PNGEncoder*>(png_get_error_ptr(png));
    std::strncpy(encoder.message_, message, sizeof encoder.message_ - 1);
    png_longjmp(png, 1);
}

}  // namespace ondrix::image
