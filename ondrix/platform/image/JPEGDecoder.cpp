#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <ondrix/platform/image/JPEGDecoder.h>

// The second of these headers needs the first.
// clang-format off
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#ifndef JCS_ALPHA_EXTENSIONS
#error "Reading JPEG files needs libjpeg-turbo (Debian package libjpeg-dev)"
#endif

namespace ondrix::image {

namespace {

/// Each scan of a progressive file passes over the whole picture, however short the scan is. Usual are ten.
constexpr std::uint64_t minimumScans = 20, maximumScans = 500;
constexpr std::uint64_t maximumPixelsOfScans = std::uint64_t{1} << 32;

/// After all other warnings, libjpeg goes on with made-up pixels.
bool leavesPixelsRight(int warning) {
    switch (warning) {
        case JWRN_ADOBE_XFORM:
        case JWRN_EXTRANEOUS_DATA:
        case JWRN_JFIF_MAJOR:
        case JWRN_NOT_SEQUENTIAL:
        case JWRN_TOO_MUCH_DATA:
            return true;
        default:
            return false;
    }
}

}  // namespace

std::unique_ptr<JPEGDecoder> JPEGDecoder::create(Stream stream, const MTKTextureLoaderLimits& limits,
                                                 std::string& reason) {
    std::unique_ptr<JPEGDecoder> decoder(new JPEGDecoder(std::move(stream), limits));
    if (!decoder->decodeHeader()) {
        reason = decoder->failure();
        return nullptr;
    }
    if (!decoder->checkHeader(reason)) return nullptr;
    return decoder;
}

JPEGDecoder::JPEGDecoder(Stream stream, const MTKTextureLoaderLimits& limits)
    : Picture(limits), stream_(std::move(stream)) {
    jpeg_.err = jpeg_std_error(&errors_);
    errors_.error_exit = onError;
    errors_.emit_message = onMessage;
    errors_.output_message = onOutput;
    progress_.progress_monitor = onProgress;
    jpeg_.client_data = this;
}

/// Safe also for a decoder whose creation failed.
JPEGDecoder::~JPEGDecoder() {
    jpeg_destroy_decompress(&jpeg_);
}

bool JPEGDecoder::decodeHeader() {
    if (setjmp(jump_) != 0) return false;
    jpeg_create_decompress(&jpeg_);
    jpeg_.progress = &progress_;
    jpeg_stdio_src(&jpeg_, stream_.get());
    jpeg_read_header(&jpeg_, TRUE);
    return true;
}

bool JPEGDecoder::checkHeader(std::string& reason) {
    if (!setSize(jpeg_.image_width, jpeg_.image_height, reason)) return false;
    if (jpeg_.jpeg_color_space == JCS_CMYK || jpeg_.jpeg_color_space == JCS_YCCK) {
        reason = "JPEG files in CMYK can't be read";
        return false;
    }
    if (jpeg_.jpeg_color_space == JCS_UNKNOWN) {
        reason = "the colour space of the JPEG file is unknown";
        return false;
    }
    if (!jpeg_has_multiple_scans(&jpeg_)) return checkLimits(0, reason);
    // All coefficients are held until the last scan.
    std::uint64_t coefficients = 0;
    for (int index = 0; index < jpeg_.num_components; ++index) {
        const jpeg_component_info& component = jpeg_.comp_info[index];
        coefficients += std::uint64_t{component.width_in_blocks} * component.height_in_blocks * DCTSIZE2;
    }
    return checkLimits(coefficients * sizeof(JCOEF), reason);
}

bool JPEGDecoder::readRows(std::uint8_t* rows, std::uint64_t count, std::string& reason) {
    if (decodeRows(rows, count)) return true;
    reason = failure();
    return false;
}

bool JPEGDecoder::decodeRows(std::uint8_t* rows, std::uint64_t count) {
    if (setjmp(jump_) != 0) return false;
    if (!started_) {
        jpeg_.out_color_space = JCS_EXT_BGRA;
        jpeg_.dct_method = JDCT_ISLOW;
        jpeg_.do_fancy_upsampling = TRUE;
        jpeg_start_decompress(&jpeg_);
        started_ = true;
    }
    for (std::uint64_t row = 0; row < count; ++row) {
        JSAMPROW address = rows + 4 * width() * row;
        jpeg_read_scanlines(&jpeg_, &address, 1);
    }
    if (jpeg_.output_scanline == jpeg_.output_height) jpeg_finish_decompress(&jpeg_);
    return true;
}

std::string JPEGDecoder::failure() const {
    if (errors_.msg_code == JERR_OUT_OF_MEMORY) throw std::bad_alloc();
    return std::string("the JPEG file is damaged: ") + message_;
}

void JPEGDecoder::onError(j_common_ptr common) {
    auto& decoder = *static_cast<JPEGDecoder*>(common->client_data);
    common->err->format_message(common, decoder.message_);
    std::longjmp(decoder.jump_, 1);
}

void JPEGDecoder::onMessage(j_common_ptr common, int level) {
    if (level < 0 && !leavesPixelsRight(common->err->msg_code)) onError(common);
}

void JPEGDecoder::onProgress(j_common_ptr common) {
    auto& decoder = *static_cast<JPEGDecoder*>(common->client_data);
    const std::uint64_t affordable = maximumPixelsOfScans / (decoder.width() * decoder.height());
    const std::uint64_t maximum = std::clamp(affordable, minimumScans, maximumScans);
    if (static_cast<std::uint64_t>(decoder.jpeg_.input_scan_number) <= maximum) return;
    std::strncpy(decoder.message_, "too many scans", sizeof decoder.message_ - 1);
    std::longjmp(decoder.jump_, 1);
}

}  // namespace ondrix::image
