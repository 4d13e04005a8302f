#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <new>
#include <string_view>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <ondrix/platform/corevideo/PixelBufferLock.h>
#include <ondrix/platform/ffmpeg/write/EncoderPicture.h>

namespace ondrix::ffmpeg {

namespace {

using Byte = std::uint8_t;
using Word = std::uint16_t;

constexpr double red = 0.2126, blue = 0.0722, green = 1 - red - blue;  // BT.709
constexpr double lumaRange = 219.0 / 255, chromaRange = 224.0 / 255;
constexpr double cbScale = chromaRange / (2 * (1 - blue)), crScale = chromaRange / (2 * (1 - red));

/// Pixels at a time: a constant, so that the loops over them become vector code at every level of optimisation that
/// has any.
constexpr std::int64_t blockSize = 16;

static_assert(std::endian::native == std::endian::little, "pixels are read as words, blue lowest");

constexpr Word factor(double value) {
    return static_cast<Word>(value * 65536 + 0.5);
}

/// `value` times a factor, cut off: one instruction for eight words.
constexpr Word times(Word value, Word factor) {
    return static_cast<Word>(std::uint32_t{value} * factor >> 16);
}

/// Values are in 1/256 levels. Each product is cut off, on average by half a unit.
template <std::int64_t count>
void lumaBlock(const Byte* pixels, Byte* luma) {
    std::uint32_t bgra[count];
    std::memcpy(bgra, pixels, sizeof bgra);
    for (std::int64_t i = 0; i < count; ++i) {
        const Word b = static_cast<Word>(bgra[i] << 8);
        const Word g = static_cast<Word>(bgra[i] & 0xFF00);
        const Word r = static_cast<Word>(bgra[i] >> 8 & 0xFF00);
        constexpr Word offset = 16 * 256 + 128 + 1;
        const Word sum = static_cast<Word>(times(b, factor(blue * lumaRange)) + times(g, factor(green * lumaRange)) +
                                           times(r, factor(red * lumaRange)) + offset);
        luma[i] = static_cast<Byte>(sum >> 8);
    }
}

template <std::int64_t count>
void chromaBlock(const Byte* top, const Byte* bottom, Byte* chroma) {
    std::uint32_t upper[2 * count], lower[2 * count];
    std::memcpy(upper, top, sizeof upper);
    std::memcpy(lower, bottom, sizeof lower);
    Word b[count], g[count], r[count];  // 64 times the sum of four pixels
    for (std::int64_t i = 0; i < count; ++i) {
        // Blue and red at once, in the halves of one word.
        const std::uint32_t blueRed = (upper[2 * i] & 0xFF00FF) + (upper[2 * i + 1] & 0xFF00FF) +
                                      (lower[2 * i] & 0xFF00FF) + (lower[2 * i + 1] & 0xFF00FF);
        const std::uint32_t greens = (upper[2 * i] >> 8 & 0xFF) + (upper[2 * i + 1] >> 8 & 0xFF) +
                                     (lower[2 * i] >> 8 & 0xFF) + (lower[2 * i + 1] >> 8 & 0xFF);
        b[i] = static_cast<Word>(blueRed << 6);
        r[i] = static_cast<Word>(blueRed >> 16 << 6);
        g[i] = static_cast<Word>(greens << 6);
    }
    constexpr Word offset = 128 * 256 + 128;
    for (std::int64_t i = 0; i < count; ++i) {
        const Word cb = static_cast<Word>(offset + times(b[i], factor((1 - blue) * cbScale)) -
                                          times(g[i], factor(green * cbScale)) - times(r[i], factor(red * cbScale)));
        const Word cr = static_cast<Word>(offset + times(r[i], factor((1 - red) * crScale)) -
                                          times(g[i], factor(green * crScale)) - times(b[i], factor(blue * crScale)));
        const Word pair = static_cast<Word>(cb >> 8 | (cr & 0xFF00));
        std::memcpy(chroma + 2 * i, &pair, sizeof pair);
    }
}

using Table = std::array<Byte, 256>;

/// Full range to video range: `(value - center) * scale + newCenter`, to the nearest.
constexpr Table rangeTable(double center, double scale, double newCenter) {
    Table table{};
    for (int value = 0; value < 256; ++value) {
        table[static_cast<std::size_t>(value)] = static_cast<Byte>((value - center) * scale + newCenter + 0.5);
    }
    return table;
}

constexpr Table lumaTable = rangeTable(0, lumaRange, 16);
constexpr Table chromaTable = rangeTable(128, chromaRange, 128);

void interleave(const Byte* first, const Byte* second, Byte* target, std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) {
        target[2 * i] = first[i];
        target[2 * i + 1] = second[i];
    }
}

/// The pixels of a buffer in 'BGRA', '420v', '420f' or 'y420', of even sides, as rows of 4:2:0 in BT.709 and video
/// range, chroma interleaved; each within one level of the exact value. A chroma sample is the mean of its four pixels.
class NV12Picture {
public:
    explicit NV12Picture(CVPixelBuffer& pixelBuffer)
        : pixels_(pixelBuffer, kCVPixelBufferLock_ReadOnly),
          format_(CVPixelBufferGetPixelFormatType(pixelBuffer)),
          width_(pixels_.width()) {}

    /// Writes one byte for each pixel of row `y`.
    void copyLumaRow(std::int64_t y, std::uint8_t* row) const;
    /// Writes Cb and Cr for each pair of columns of the rows 2 `y` and 2 `y` + 1.
    void copyChromaRow(std::int64_t y, std::uint8_t* row) const;
    /// The same apart from each other; false where they aren't stored so.
    [[nodiscard]] bool copySeparateChromaRow(std::int64_t y, std::uint8_t* cb, std::uint8_t* cr) const;

private:
    const PixelBufferLock pixels_;
    const OSType format_;
    const std::int64_t width_;  ///< pixels
};

void NV12Picture::copyLumaRow(std::int64_t y, std::uint8_t* row) const {
    const Byte* source = pixels_.row(y, 0);
    if (format_ == kCVPixelFormatType_32BGRA) {
        std::int64_t x = 0;
        for (; x + blockSize <= width_; x += blockSize) lumaBlock<blockSize>(source + 4 * x, row + x);
        for (; x < width_; ++x) lumaBlock<1>(source + 4 * x, row + x);
    } else if (format_ == kCVPixelFormatType_420YpCbCr8BiPlanarFullRange) {
        for (std::int64_t x = 0; x < width_; ++x) row[x] = lumaTable[source[x]];
    } else {
        std::memcpy(row, source, static_cast<std::size_t>(width_));
    }
}

void NV12Picture::copyChromaRow(std::int64_t y, std::uint8_t* row) const {
    if (format_ == kCVPixelFormatType_32BGRA) {
        const Byte* top = pixels_.row(2 * y, 0);
        const Byte* bottom = pixels_.row(2 * y + 1, 0);
        std::int64_t x = 0;  // counts pairs of columns
        for (; x + blockSize <= width_ / 2; x += blockSize) {
            chromaBlock<blockSize>(top + 8 * x, bottom + 8 * x, row + 2 * x);
        }
        for (; x < width_ / 2; ++x) chromaBlock<1>(top + 8 * x, bottom + 8 * x, row + 2 * x);
        return;
    }
    const Byte* source = pixels_.row(y, 1);
    if (format_ == kCVPixelFormatType_420YpCbCr8BiPlanarFullRange) {
        for (std::int64_t x = 0; x < width_; ++x) row[x] = chromaTable[source[x]];
    } else if (format_ == kCVPixelFormatType_420YpCbCr8Planar) {
        interleave(source, pixels_.row(y, 2), row, width_ / 2);
    } else {
        std::memcpy(row, source, static_cast<std::size_t>(width_));
    }
}

bool NV12Picture::copySeparateChromaRow(std::int64_t y, std::uint8_t* cb, std::uint8_t* cr) const {
    if (format_ != kCVPixelFormatType_420YpCbCr8Planar) return false;
    std::memcpy(cb, pixels_.row(y, 1), static_cast<std::size_t>(width_ / 2));
    std::memcpy(cr, pixels_.row(y, 2), static_cast<std::size_t>(width_ / 2));
    return true;
}

constexpr int alignment = 64;  // bytes

bool contains(const AVPixelFormat* formats, AVPixelFormat wanted) {
    for (; *formats != AV_PIX_FMT_NONE; ++formats) {
        if (*formats == wanted) return true;
    }
    return false;
}

/// "BGRA", or its number where it isn't four letters.
std::string formatName(OSType format) {
    std::string name;
    for (int shift = 24; shift >= 0; shift -= 8) name += static_cast<char>(format >> shift & 0xFF);
    const bool isText = std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~'; });
    return isText ? "'" + name + "'" : std::to_string(format);
}

/// True for formats of pixel buffers that frames can be made from.
bool isSupported(OSType pixelFormat) {
    return pixelFormat == kCVPixelFormatType_32BGRA || pixelFormat == kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange ||
           pixelFormat == kCVPixelFormatType_420YpCbCr8BiPlanarFullRange ||
           pixelFormat == kCVPixelFormatType_420YpCbCr8Planar;
}

/// How the numbers of a pixel buffer are laid out.
AVPixelFormat formatOf(OSType pixelFormat) {
    switch (pixelFormat) {
        case kCVPixelFormatType_32BGRA:
            return AV_PIX_FMT_BGR0;
        case kCVPixelFormatType_420YpCbCr8Planar:
            return AV_PIX_FMT_YUV420P;
        default:
            return AV_PIX_FMT_NV12;
    }
}

}  // namespace

AVPixelFormat EncoderPicture::bestFormat(const AVPixelFormat* formats) {
    for (const AVPixelFormat direct : {AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P}) {
        if (formats == nullptr || contains(formats, direct)) return direct;
    }
    return avcodec_find_best_pix_fmt_of_list(formats, AV_PIX_FMT_BGR0, 0, nullptr);
}

bool EncoderPicture::isYCbCr(AVPixelFormat format) {
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
    return description != nullptr && (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) == 0 &&
           description->nb_components >= 3;
}

OSType EncoderPicture::nearestFormat(AVPixelFormat format) {
    if (format == AV_PIX_FMT_NV12) return kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    return format == AV_PIX_FMT_YUV420P ? kCVPixelFormatType_420YpCbCr8Planar : kCVPixelFormatType_32BGRA;
}

EncoderPicture::EncoderPicture(const AVCodecContext& encoder)
    : encoder_(encoder), frame_(makeFrame()), wrapper_(makeFrame()) {
    if (encoder.pix_fmt == AV_PIX_FMT_YUV420P) chromaRow_.resize(static_cast<std::size_t>(encoder.width));
}

AVFrame& EncoderPicture::fill(const std::shared_ptr<CVPixelBuffer>& pixelBuffer) {
    const OSType format = CVPixelBufferGetPixelFormatType(*pixelBuffer);
    if (!isSupported(format)) {
        throw WritingFailure("frames in the pixel format " + formatName(format) + " can't be written");
    }
    if (wrap(pixelBuffer)) return *wrapper_;
    makeWritable();
    if (encoder_.pix_fmt == AV_PIX_FMT_NV12 || encoder_.pix_fmt == AV_PIX_FMT_YUV420P) {
        fillYCbCr(*pixelBuffer);
    } else {
        scale(*pixelBuffer);
    }
    return *frame_;
}

/// False where the pixel buffer has other numbers than the encoder takes, or where that would still read them later.
bool EncoderPicture::wrap(const std::shared_ptr<CVPixelBuffer>& pixelBuffer) {
    av_frame_unref(wrapper_.get());
    const OSType format = CVPixelBufferGetPixelFormatType(*pixelBuffer);
    const bool copiesAtOnce = std::string_view(encoder_.codec->name) == "libx264";
    if (!copiesAtOnce || format != nearestFormat(encoder_.pix_fmt) || formatOf(format) != encoder_.pix_fmt)
        return false;
    auto lock = std::make_unique<PixelBufferLock>(pixelBuffer, kCVPixelBufferLock_ReadOnly);
    for (int plane = 0; plane < av_pix_fmt_count_planes(encoder_.pix_fmt); ++plane) {
        wrapper_->data[plane] = lock->bytes(plane);
        wrapper_->linesize[plane] = static_cast<int>(lock->bytesPerRow(plane));
    }
    const auto release = [](void* held, std::uint8_t*) { delete static_cast<PixelBufferLock*>(held); };
    const auto size = static_cast<std::size_t>(lock->bytesPerRow() * lock->height());
    wrapper_->buf[0] = av_buffer_create(lock->bytes(), size, release, lock.get(), AV_BUFFER_FLAG_READONLY);
    if (wrapper_->buf[0] == nullptr) throw std::bad_alloc();
    (void)lock.release();
    setProperties(*wrapper_);
    return true;
}

/// Takes new memory where the encoder still holds that of the frame before.
void EncoderPicture::makeWritable() {
    if (frame_->buf[0] != nullptr && av_frame_is_writable(frame_.get()) > 0) return;
    av_frame_unref(frame_.get());
    setProperties(*frame_);
    checkWriting("no memory for a frame", av_frame_get_buffer(frame_.get(), alignment));
}

void EncoderPicture::setProperties(AVFrame& frame) const {
    frame.width = encoder_.width;
    frame.height = encoder_.height;
    frame.format = encoder_.pix_fmt;
    frame.colorspace = encoder_.colorspace;
    frame.color_primaries = encoder_.color_primaries;
    frame.color_trc = encoder_.color_trc;
    frame.color_range = encoder_.color_range;
}

void EncoderPicture::fillYCbCr(CVPixelBuffer& pixelBuffer) {
    const NV12Picture picture(pixelBuffer);
    const auto row = [this](int plane, int y) {
        return frame_->data[plane] + std::int64_t{y} * frame_->linesize[plane];
    };
    for (int y = 0; y < encoder_.height; ++y) picture.copyLumaRow(y, row(0, y));
    for (int y = 0; y < encoder_.height / 2; ++y) {
        if (encoder_.pix_fmt == AV_PIX_FMT_NV12) {
            picture.copyChromaRow(y, row(1, y));
            continue;
        }
        std::uint8_t* const cb = row(1, y);
        std::uint8_t* const cr = row(2, y);
        if (picture.copySeparateChromaRow(y, cb, cr)) continue;
        picture.copyChromaRow(y, chromaRow_.data());
        for (int x = 0, count = encoder_.width / 2; x < count; ++x) {
            cb[x] = chromaRow_[static_cast<std::size_t>(2 * x)];
            cr[x] = chromaRow_[static_cast<std::size_t>(2 * x + 1)];
        }
    }
}

void EncoderPicture::scale(CVPixelBuffer& pixelBuffer) {
    const OSType type = CVPixelBufferGetPixelFormatType(pixelBuffer);
    const AVPixelFormat source = formatOf(type);
    const bool isSourceFullRange = nearestFormat(source) != type || source == AV_PIX_FMT_BGR0;
    scaler_.reset(sws_getCachedContext(
        scaler_.release(), encoder_.width, encoder_.height, source, encoder_.width, encoder_.height, encoder_.pix_fmt,
        SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr));
    if (!scaler_) {
        throw WritingFailure(std::string("frames can't be turned into ") + av_get_pix_fmt_name(encoder_.pix_fmt));
    }
    const int* const coefficients = sws_getCoefficients(SWS_CS_ITU709);
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(scaler_.get(), coefficients, isSourceFullRange, coefficients,
                             meansFullRange(encoder_.pix_fmt), 0, one, one);

    const PixelBufferLock pixels(pixelBuffer, kCVPixelBufferLock_ReadOnly);
    const std::uint8_t* const planes[4] = {pixels.bytes(0), pixels.bytes(1), pixels.bytes(2)};
    int strides[4] = {};
    for (int plane = 0; plane < 3; ++plane) strides[plane] = static_cast<int>(pixels.bytesPerRow(plane));
    sws_scale(scaler_.get(), planes, strides, 0, encoder_.height, frame_->data, frame_->linesize);
}

}  // namespace ondrix::ffmpeg
