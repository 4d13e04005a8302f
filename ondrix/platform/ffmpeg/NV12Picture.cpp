#include <array>
#include <bit>
#include <cstring>

#include <ondrix/platform/ffmpeg/NV12Picture.h>

namespace ondrix {

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

}  // namespace

bool NV12Picture::isSupported(OSType pixelFormat) {
    return pixelFormat == kCVPixelFormatType_32BGRA || pixelFormat == kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange ||
           pixelFormat == kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
}

NV12Picture::NV12Picture(CVPixelBuffer& pixelBuffer)
    : pixelBuffer_(pixelBuffer),
      format_(CVPixelBufferGetPixelFormatType(pixelBuffer)),
      width_(CVPixelBufferGetWidth(pixelBuffer)) {
    CVPixelBufferLockBaseAddress(pixelBuffer_, kCVPixelBufferLock_ReadOnly);
}

NV12Picture::~NV12Picture() {
    CVPixelBufferUnlockBaseAddress(pixelBuffer_, kCVPixelBufferLock_ReadOnly);
}

const std::uint8_t* NV12Picture::sourceRow(std::int64_t plane, std::int64_t y) const {
    return static_cast<const Byte*>(CVPixelBufferGetBaseAddressOfPlane(pixelBuffer_, plane)) +
           y * CVPixelBufferGetBytesPerRowOfPlane(pixelBuffer_, plane);
}

void NV12Picture::copyLumaRow(std::int64_t y, std::uint8_t* row) const {
    const Byte* source = sourceRow(0, y);
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
        const Byte* top = sourceRow(0, 2 * y);
        const Byte* bottom = sourceRow(0, 2 * y + 1);
        std::int64_t x = 0;  // counts pairs of columns
        for (; x + blockSize <= width_ / 2; x += blockSize) {
            chromaBlock<blockSize>(top + 8 * x, bottom + 8 * x, row + 2 * x);
        }
        for (; x < width_ / 2; ++x) chromaBlock<1>(top + 8 * x, bottom + 8 * x, row + 2 * x);
        return;
    }
    const Byte* source = sourceRow(1, y);
    if (format_ == kCVPixelFormatType_420YpCbCr8BiPlanarFullRange) {
        for (std::int64_t x = 0; x < width_; ++x) row[x] = chromaTable[source[x]];
    } else {
        std::memcpy(row, source, static_cast<std::size_t>(width_));
    }
}

}  // namespace ondrix
