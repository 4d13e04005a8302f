#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <utility>

#include <ondrix/core/Logger.h>
#include <ondrix/frames/FrameLayout.h>

namespace ondrix {

namespace {

using enum MTLPixelFormat;
using Kind = FrameLayout::Kind;

constexpr std::pair<OSType, FrameLayout> layouts[] = {
    {kCVPixelFormatType_32BGRA, {Kind::picture, {bgra8Unorm}}},
    {kCVPixelFormatType_32RGBA, {Kind::picture, {rgba8Unorm}}},
    {kCVPixelFormatType_64RGBAHalf, {Kind::picture, {rgba16Float}}},
    {kCVPixelFormatType_128RGBAFloat, {Kind::picture, {rgba32Float}}},
    {kCVPixelFormatType_OneComponent8, {Kind::grey, {r8Unorm}}},
    {kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, {Kind::biPlanar, {r8Unorm, rg8Unorm}, 8, 0, true, true}},
    {kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, {Kind::biPlanar, {r8Unorm, rg8Unorm}, 8, 0, true, true}},
    {kCVPixelFormatType_420YpCrCb8BiPlanarVideoRange, {Kind::biPlanar, {r8Unorm, rg8Unorm}, 8, 0, true, true, true}},
    {kCVPixelFormatType_420YpCrCb8BiPlanarFullRange, {Kind::biPlanar, {r8Unorm, rg8Unorm}, 8, 0, true, true, true}},
    {kCVPixelFormatType_422YpCbCr8BiPlanarVideoRange, {Kind::biPlanar, {r8Unorm, rg8Unorm}, 8, 0, true, false}},
    {kCVPixelFormatType_422YpCbCr8BiPlanarFullRange, {Kind::biPlanar, {r8Unorm, rg8Unorm}, 8, 0, true, false}},
    {kCVPixelFormatType_444YpCbCr8BiPlanarVideoRange, {Kind::biPlanar, {r8Unorm, rg8Unorm}, 8}},
    {kCVPixelFormatType_444YpCbCr8BiPlanarFullRange, {Kind::biPlanar, {r8Unorm, rg8Unorm}, 8}},
    {kCVPixelFormatType_420YpCbCr8Planar, {Kind::planar, {r8Unorm, r8Unorm, r8Unorm}, 8, 0, true, true}},
    {kCVPixelFormatType_420YpCbCr8PlanarFullRange, {Kind::planar, {r8Unorm, r8Unorm, r8Unorm}, 8, 0, true, true}},
    {kCVPixelFormatType_422YpCbCr8Planar, {Kind::planar, {r8Unorm, r8Unorm, r8Unorm}, 8, 0, true, false}},
    {kCVPixelFormatType_444YpCbCr8Planar, {Kind::planar, {r8Unorm, r8Unorm, r8Unorm}, 8}},
    {kCVPixelFormatType_420YpCbCr10BiPlanarVideoRange, {Kind::biPlanar, {r16Unorm, rg16Unorm}, 10, 6, true, true}},
    {kCVPixelFormatType_420YpCbCr10BiPlanarFullRange, {Kind::biPlanar, {r16Unorm, rg16Unorm}, 10, 6, true, true}},
    {kCVPixelFormatType_420YpCbCr10Planar, {Kind::planar, {r16Unorm, r16Unorm, r16Unorm}, 10, 0, true, true}},
    {kCVPixelFormatType_422YpCbCr10Planar, {Kind::planar, {r16Unorm, r16Unorm, r16Unorm}, 10, 0, true, false}},
    {kCVPixelFormatType_444YpCbCr10Planar, {Kind::planar, {r16Unorm, r16Unorm, r16Unorm}, 10}},
};

/// So many times a sample are sums of chroma in the functions.
constexpr double chromaSumScale = 16;

/// Shares of red and blue in luma.
struct Shares {
    double red, blue;
};
constexpr Shares sharesOf(YCbCrMatrix matrix) {
    switch (matrix) {
        case YCbCrMatrix::BT601:
            return {0.299, 0.114};
        case YCbCrMatrix::BT2020:
            return {0.2627, 0.0593};
        case YCbCrMatrix::BT709:
            break;
    }
    return {0.2126, 0.0722};
}

/// Samples that stand for black, for white less black, for no chroma, and for chroma from -0.5 to 0.5.
struct Scale {
    double black, luma, grey, chroma, largest;

    Scale(ColourRange range, int bits) : largest((1 << bits) - 1) {
        const double unit = 1 << (bits - 8);
        const bool isFull = range == ColourRange::full;
        black = isFull ? 0 : 16 * unit;
        luma = isFull ? largest : 219 * unit;
        grey = 128 * unit;
        chroma = isFull ? largest : 224 * unit;
    }
};

/// Light is counted in 10000 cd/m2, the brightest that PQ tells.
constexpr double brightestPQ = 10000, white = 203 / brightestPQ, hybridPeak = 1000 / brightestPQ;

double lightOfPQ(double number) {
    const double root = std::pow(number, 1 / 78.84375);
    return std::pow(std::max(root - 0.8359375, 0.0) / (18.8515625 - 18.6875 * root), 1 / 0.1593017578125);
}
double numberOfPQ(double light) {
    const double power = std::pow(light, 0.1593017578125);
    return std::pow((0.8359375 + 18.8515625 * power) / (1 + 18.6875 * power), 78.84375);
}
double lightOfHLG(double number) {
    return number <= 0.5 ? number * number / 3 : (std::exp((number - 0.55991073) / 0.17883277) + 0.28466892) / 12;
}
double lightOfSRGB(double number) {
    return number <= 0.04045 ? number / 12.92 : std::pow((number + 0.055) / 1.055, 2.4);
}

/// The brightest light that a display of SDR shows for light of a display of this peak: the curve of ITU-R BT.2390,
/// black staying black.
double toneMapped(double light, double peak) {
    const double number = numberOfPQ(light) / numberOfPQ(peak), most = numberOfPQ(white) / numberOfPQ(peak);
    const double knee = most * 1.5 - 0.5;
    if (number < knee) return light;
    const double t = std::min((number - knee) / (1 - knee), 1.0), t2 = t * t, t3 = t2 * t;
    const double bent = (t3 * 2 - t2 * 3 + 1) * knee + (t3 - t2 * 2 + t) * (1 - knee) + (t2 * 3 - t3 * 2) * most;
    return lightOfPQ(bent * numberOfPQ(peak));
}

}  // namespace

std::optional<FrameLayout> FrameLayout::of(OSType pixelFormat) {
    for (const auto& [format, layout] : layouts) {
        if (format == pixelFormat) return layout;
    }
    return std::nullopt;
}

FrameReadConstants FrameLayout::readConstants(const FrameColours& colours) const {
    const Shares shares = sharesOf(colours.matrix);
    const double green = 1 - shares.red - shares.blue;
    const Scale scale(colours.range, bits);
    const double ofBlue[] = {0, -2 * (1 - shares.blue) * shares.blue / green, 2 * (1 - shares.blue)};
    const double ofRed[] = {2 * (1 - shares.red), -2 * (1 - shares.red) * shares.red / green, 0};
    FrameReadConstants constants{};
    for (int i = 0; i < 3; ++i) {
        const double blue = kind == Kind::grey ? 0 : ofBlue[i] / scale.chroma;
        const double red = kind == Kind::grey ? 0 : ofRed[i] / scale.chroma;
        constants.luma[i] = static_cast<float>(1 / scale.luma);
        constants.blue[i] = static_cast<float>((isRedFirst ? red : blue) / chromaSumScale);
        constants.red[i] = static_cast<float>((isRedFirst ? blue : red) / chromaSumScale);
        constants.offset[i] = static_cast<float>(-scale.black / scale.luma - scale.grey * (blue + red));
    }
    constants.halvesWidth = halvesWidth;
    constants.halvesHeight = halvesHeight;
    constants.isCentred = colours.siting == ChromaSiting::centre;
    constants.isSeparate = kind == Kind::planar;
    constants.unusedBits = unusedBits;
    constants.largest = (1 << bits) - 1;
    return constants;
}

FrameToneConstants FrameLayout::toneConstants(const FrameColours& colours) {
    // Light of each set of primaries as light of BT.709's; white is the same in all.
    constexpr float fromBT709[3][4] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    constexpr float fromP3[3][4] = {{1.2249401763f, -0.2249401763f, 0},
                                    {-0.0420569547f, 1.0420569547f, 0},
                                    {-0.0196375546f, -0.0786360456f, 1.0982736001f}};
    constexpr float fromBT2020[3][4] = {{1.6604910021f, -0.5876411388f, -0.0728498633f},
                                        {-0.1245504745f, 1.1328998971f, -0.0083494226f},
                                        {-0.0181507634f, -0.1005788980f, 1.1187296614f}};
    FrameToneConstants constants{};
    constants.transfer = static_cast<std::int32_t>(colours.transfer);
    std::memcpy(constants.toBT709,
                colours.primaries == ColourPrimaries::BT2020 ? fromBT2020
                : colours.primaries == ColourPrimaries::P3   ? fromP3
                                                             : fromBT709,
                sizeof constants.toBT709);
    const Shares shares = sharesOf(YCbCrMatrix::BT2020);
    constants.luminance[0] = static_cast<float>(shares.red);
    constants.luminance[1] = static_cast<float>(1 - shares.red - shares.blue);
    constants.luminance[2] = static_cast<float>(shares.blue);
    const bool isPQ = colours.transfer == TransferFunction::PQ, isHLG = colours.transfer == TransferFunction::HLG;
    constexpr int lightEntries = std::size(FrameToneConstants{}.light),
                  gainEntries = std::size(FrameToneConstants{}.gain);
    for (int i = 0; i < lightEntries; ++i) {
        const double number = i / double{lightEntries - 1};
        const double light = isPQ ? lightOfPQ(number) / white : isHLG ? lightOfHLG(number) : lightOfSRGB(number);
        constants.light[i] = static_cast<float>(light);
    }
    const double peak = isHLG ? hybridPeak : colours.peakLuminance / brightestPQ;
    for (int i = 0; i < gainEntries && (isPQ || isHLG); ++i) {
        const double place = std::max(i, 1) / double{gainEntries - 1};
        const double light = isPQ ? lightOfPQ(place) : place * place * hybridPeak;
        const double gain = light > 0 ? toneMapped(light, peak) / light : 1;
        constants.gain[i] = static_cast<float>(isPQ ? gain : gain * hybridPeak / white);
    }
    return constants;
}

FrameWriteConstants FrameLayout::writeConstants(const FrameColours& colours) const {
    const Shares shares = sharesOf(colours.matrix);
    const double ofLuma[] = {shares.red, 1 - shares.red - shares.blue, shares.blue};
    const Scale scale(colours.range, bits);
    FrameWriteConstants constants{};
    for (int i = 0; i < 3; ++i) {
        const double blue = ((i == 2) - ofLuma[i]) / (2 * (1 - shares.blue)) * scale.chroma;
        const double red = ((i == 0) - ofLuma[i]) / (2 * (1 - shares.red)) * scale.chroma;
        constants.luma[i] = static_cast<float>(ofLuma[i] * scale.luma);
        constants.blue[i] = static_cast<float>(isRedFirst ? red : blue);
        constants.red[i] = static_cast<float>(isRedFirst ? blue : red);
    }
    constants.luma[3] = static_cast<float>(scale.black);
    constants.blue[3] = constants.red[3] = static_cast<float>(scale.grey);
    // Colours beyond black and white take the numbers that are left for them, as pictures scaled with overshoot do.
    constants.largest = static_cast<float>(scale.largest);
    const bool isWords = planes[0] == r16Unorm;
    constants.scale = isWords ? static_cast<float>(1 << unusedBits) / 65535.0f : 1.0f / 255.0f;
    constants.halvesWidth = halvesWidth;
    constants.halvesHeight = halvesHeight;
    constants.isCentred = colours.siting == ChromaSiting::centre;
    return constants;
}

std::shared_ptr<MTLTexture> FrameLayout::wrap(MTLDevice& device, const std::shared_ptr<CVPixelBuffer>& frame,
                                              int plane) const {
    auto descriptor = MTLTextureDescriptor::texture2DDescriptor(
        planes[plane], static_cast<std::uint64_t>(CVPixelBufferGetWidthOfPlane(*frame, plane)),
        static_cast<std::uint64_t>(CVPixelBufferGetHeightOfPlane(*frame, plane)), false);
    descriptor.usage = MTLTextureUsage::unknown;
    auto texture = device.makeTexture(descriptor, CVPixelBufferGetIOSurface(frame), static_cast<std::uint64_t>(plane));
    if (texture == nullptr) Logger::gfx().error("Failed to wrap a plane of the frame as a texture.");
    return texture;
}

}  // namespace ondrix
