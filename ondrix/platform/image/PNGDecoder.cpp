#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <new>

#include <ondrix/platform/image/PNGDecoder.h>

namespace ondrix::image {

namespace {

constexpr const char* endOfFile = "unexpected end of file";

/// Deflate makes at most 1032 bytes from one.
constexpr std::uint64_t maximumExpansion = 1032;

std::uint64_t bigEndian(const unsigned char* bytes) {
    return std::uint64_t{bytes[0]} << 24 | std::uint64_t{bytes[1]} << 16 | std::uint64_t{bytes[2]} << 8 | bytes[3];
}

}  // namespace

std::unique_ptr<PNGDecoder> PNGDecoder::create(Stream stream, std::uint64_t fileSize,
                                               const MTKTextureLoaderLimits& limits, std::string& reason) {
    std::unique_ptr<PNGDecoder> decoder(new PNGDecoder(std::move(stream), limits));
    if (!decoder->readSize(reason)) return nullptr;
    decoder->png_ = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, decoder.get(), onError, onWarning, decoder.get(),
                                             allocate, nullptr);
    if (decoder->png_ == nullptr) throw std::bad_alloc();
    decoder->info_ = png_create_info_struct(decoder->png_);
    if (decoder->info_ == nullptr) throw std::bad_alloc();
    if (!decoder->decodeHeader()) {
        reason = decoder->failure();
        return nullptr;
    }
    if (decoder->width() * decoder->height() * decoder->storedBitsPerPixel_ / 8 > fileSize * maximumExpansion) {
        reason = std::string("the PNG file is damaged: ") + endOfFile;
        return nullptr;
    }
    const std::uint64_t wholeBytes = decoder->interlaced_ ? 4 * decoder->width() * decoder->height() : 0;
    if (!decoder->checkLimits(wholeBytes, reason)) return nullptr;
    return decoder;
}

PNGDecoder::~PNGDecoder() {
    png_destroy_read_struct(&png_, &info_, nullptr);
}

/// Looks at the size before libpng does, to refuse it with a reason of our own.
bool PNGDecoder::readSize(std::string& reason) {
    unsigned char start[24];
    if (std::fread(start, 1, sizeof start, stream_.get()) != sizeof start) {
        reason = std::string("the PNG file is damaged: ") + endOfFile;
        return false;
    }
    std::rewind(stream_.get());
    if (std::memcmp(start + 12, "IHDR", 4) != 0) {
        reason = "the PNG file is damaged: it doesn't begin with its header";
        return false;
    }
    return setSize(bigEndian(start + 16), bigEndian(start + 20), reason);
}

bool PNGDecoder::decodeHeader() {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_set_read_fn(png_, this, onRead);
    png_set_crc_action(png_, PNG_CRC_ERROR_QUIT, PNG_CRC_ERROR_QUIT);
    // All but the chunks that make the pixels.
    png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_read_info(png_, info_);
    storedBitsPerPixel_ = std::uint64_t{png_get_bit_depth(png_, info_)} * png_get_channels(png_, info_);
    interlaced_ = png_get_interlace_type(png_, info_) != PNG_INTERLACE_NONE;

    png_set_expand(png_);
    png_set_scale_16(png_);
    png_set_gray_to_rgb(png_);
    png_set_bgr(png_);
    png_set_add_alpha(png_, 0xFF, PNG_FILLER_AFTER);
    png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
    if (png_get_rowbytes(png_, info_) != 4 * width()) png_error(png_, "unexpected size of a row");
    return true;
}

bool PNGDecoder::readRows(std::uint8_t* rows, std::uint64_t count, std::string& reason) {
    if (interlaced_ && !wholePicture_) {
        wholePicture_.reset(new std::uint8_t[4 * width() * height()]);
        if (!decodeInterlaced()) {
            reason = failure();
            return false;
        }
    }
    if (interlaced_) {
        std::memcpy(rows, wholePicture_.get() + 4 * width() * rowsRead_, 4 * width() * count);
        rowsRead_ += count;
        return true;
    }
    if (!decodeRows(rows, count)) {
        reason = failure();
        return false;
    }
    return true;
}

bool PNGDecoder::decodeRows(std::uint8_t* rows, std::uint64_t count) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    for (std::uint64_t row = 0; row < count; ++row) png_read_row(png_, rows + 4 * width() * row, nullptr);
    rowsRead_ += count;
    if (rowsRead_ == height()) png_read_end(png_, nullptr);
    return true;
}

bool PNGDecoder::decodeInterlaced() {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    for (int pass = 0; pass < PNG_INTERLACE_ADAM7_PASSES; ++pass) {
        for (std::uint64_t row = 0; row < height(); ++row) {
            png_read_row(png_, wholePicture_.get() + 4 * width() * row, nullptr);
        }
    }
    png_read_end(png_, nullptr);
    return true;
}

std::string PNGDecoder::failure() const {
    if (lacksMemory_) throw std::bad_alloc();
    return std::string("the PNG file is damaged: ") + message_;
}

void PNGDecoder::onError(png_structp png, png_const_charp message) {
    auto& decoder = *static_cast<PNGDecoder*>(png_get_error_ptr(png));
    std::strncpy(decoder.message_, message, sizeof decoder.message_ - 1);
    png_longjmp(png, 1);
}

png_voidp PNGDecoder::allocate(png_structp png, png_alloc_size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr) static_cast<PNGDecoder*>(png_get_mem_ptr(png))->lacksMemory_ = true;
    return block;
}

void PNGDecoder::onRead(png_structp png, png_bytep bytes, std::size_t count) {
    auto& decoder = *static_cast<PNGDecoder*>(png_get_io_ptr(png));
    if (std::fread(bytes, 1, count, decoder.stream_.get()) == count) return;
    png_error(png, std::ferror(decoder.stream_.get()) != 0 ? "it can't be read" : endOfFile);
}

}  // namespace ondrix::image
