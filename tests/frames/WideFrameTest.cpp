// Frames of other colours than SDR in BT.709, beside double precision and the plain level.
#include <tests/frames/EveryLevel.h>

#include <ondrix/shading/Encoding.h>

namespace ondrix {
namespace {

using namespace test;

using Three = std::array<double, 3>;

/// Light of primaries, given by their chromaticities, as CIE XYZ; white is D65.
std::array<Three, 3> toXYZ(const std::array<std::array<double, 2>, 3>& primaries) {
    const auto xyz = [](double x, double y) { return Three{x / y, 1, (1 - x - y) / y}; };
    const Three columns[] = {xyz(primaries[0][0], primaries[0][1]), xyz(primaries[1][0], primaries[1][1]),
                             xyz(primaries[2][0], primaries[2][1])};
    const Three white = xyz(0.3127, 0.3290);
    const auto determinant = [](const Three& a, const Three& b, const Three& c) {
        return a[0] * (b[1] * c[2] - b[2] * c[1]) - b[0] * (a[1] * c[2] - a[2] * c[1]) +
               c[0] * (a[1] * b[2] - a[2] * b[1]);
    };
    const double all = determinant(columns[0], columns[1], columns[2]);
    std::array<Three, 3> result;
    for (std::size_t i = 0; i < 3; ++i) {
        const double share =
            determinant(i == 0 ? white : columns[0], i == 1 ? white : columns[1], i == 2 ? white : columns[2]) / all;
        for (std::size_t row = 0; row < 3; ++row) result[row][i] = share * columns[i][row];
    }
    return result;
}
constexpr std::array<std::array<double, 2>, 3> chromaticities[] = {{{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}}},
                                                                   {{{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}}},
                                                                   {{{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}}}};

double lightOfPQ(double number) {
    const double root = std::pow(number, 4096 / (2523 * 128.0));
    return std::pow(std::max(root - 3424 / 4096.0, 0.0) / (2413 / 128.0 - 2392 / 128.0 * root), 16384 / 2610.0);
}
double numberOfPQ(double light) {
    const double power = std::pow(light, 2610 / 16384.0);
    return std::pow((3424 / 4096.0 + 2413 / 128.0 * power) / (1 + 2392 / 128.0 * power), 2523 * 128 / 4096.0);
}
/// ITU-R BT.2390, annex 5, with a black of 0.
double toneMapped(double light, double peak, double target) {
    const double most = numberOfPQ(target) / numberOfPQ(peak), knee = 1.5 * most - 0.5;
    const double e = numberOfPQ(light) / numberOfPQ(peak), t = std::min((e - knee) / (1 - knee), 1.0);
    if (e < knee) return light;
    const double bent = (2 * t * t * t - 3 * t * t + 1) * knee + (t * t * t - 2 * t * t + t) * (1 - knee) +
                        (-2 * t * t * t + 3 * t * t) * most;
    return lightOfPQ(bent * numberOfPQ(peak));
}

/// What a display of SDR in BT.709 is given for these numbers.
Three narrowed(Three numbers, const FrameColours& colours) {
    Three light;
    for (std::size_t i = 0; i < 3; ++i) {
        const double e = std::clamp(numbers[i], 0.0, 1.0);
        const double sRGB = e <= 0.04045 ? e / 12.92 : std::pow((e + 0.055) / 1.055, 2.4);
        const double hybrid = e <= 0.5 ? e * e / 3 : (std::exp((e - 0.55991073) / 0.17883277) + 0.28466892) / 12;
        light[i] = colours.transfer == TransferFunction::SDR  ? sRGB
                   : colours.transfer == TransferFunction::PQ ? lightOfPQ(e)
                                                              : hybrid;
    }
    if (colours.transfer == TransferFunction::HLG) {
        const double gain = 0.1 * std::pow(0.2627 * light[0] + 0.6780 * light[1] + 0.0593 * light[2], 0.2);
        for (double& each : light) each *= gain;
    }
    if (colours.transfer != TransferFunction::SDR) {
        const double brightest = *std::ranges::max_element(light);
        const double peak = colours.transfer == TransferFunction::PQ ? double{colours.peakLuminance} : 1000;
        const double gain = brightest > 0 ? toneMapped(brightest, peak / 1e4, 203 / 1e4) / brightest : 0;
        for (double& each : light) each *= gain / (203 / 1e4);
    }
    // Light in BT.709: the shares that make the same XYZ, by Cramer's rule.
    const auto from = toXYZ(chromaticities[static_cast<int>(colours.primaries)]), to = toXYZ(chromaticities[0]);
    Three xyz{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t i = 0; i < 3; ++i) xyz[row] += from[row][i] * light[i];
    }
    const auto determinant = [&](int replaced) {
        const auto at = [&](std::size_t row, std::size_t column) {
            return static_cast<int>(column) == replaced ? xyz[row] : to[row][column];
        };
        return at(0, 0) * (at(1, 1) * at(2, 2) - at(1, 2) * at(2, 1)) -
               at(0, 1) * (at(1, 0) * at(2, 2) - at(1, 2) * at(2, 0)) +
               at(0, 2) * (at(1, 0) * at(2, 1) - at(1, 1) * at(2, 0));
    };
    Three result;
    for (int i = 0; i < 3; ++i) {
        const double a = std::clamp(determinant(i) / determinant(-1), 0.0, 1.0);
        result[static_cast<std::size_t>(i)] = a <= 0.0031308 ? 12.92 * a : 1.055 * std::pow(a, 1 / 2.4) - 0.055;
    }
    return result;
}

class WideFramesAtEveryLevel : public EveryLevel {
protected:
    static constexpr Int width = 33, height = 6;
    using Numbers = std::function<Three(Int x, Int y)>;

    /// Calls `work` with noise in each kind of frame: its buffer and its numbers of red, green and blue.
    static void forEachKind(const FrameColours& colours, GuardedEnd end,
                            const std::function<void(const std::shared_ptr<CVPixelBuffer>&, const Numbers&)>& work) {
        for (const std::size_t index : {9u, 6u, 0u}) {  // P010, planar and grey of 8 bits
            const GuardedFrame frame(formats[index], width, height, end, 3);
            const Equations equations(colours, formats[index].bits);
            const auto chroma = [&](int component, Int x, Int y) {
                return index == 0 ? equations.grey : frame.chromaAt(component, x, y, false);
            };
            work(frame.buffer, [&](Int x, Int y) {
                return equations.colour(frame.sample(0, x, y), chroma(1, x, y), chroma(2, x, y));
            });
        }
        for (const OSType type : {kCVPixelFormatType_32BGRA, kCVPixelFormatType_32RGBA, kCVPixelFormatType_64RGBAHalf,
                                  kCVPixelFormatType_128RGBAFloat}) {
            const auto buffer = frame(width, height, type);
            const auto picture = Picture::noise(width, height, 5);
            const PixelBufferLock lock(buffer);
            for (Int i = 0; i < width * height * 4; ++i) {
                const Int x = i / 4 % width, y = i / 4 / width;
                const auto byte = static_cast<std::uint8_t>(picture.at(x, y, static_cast<int>(i % 4)));
                const float value = static_cast<float>(byte) / 256;
                const std::uint16_t half = shading::encodeHalf(value);
                const bool isHalf = type == kCVPixelFormatType_64RGBAHalf;
                const bool isFloat = type == kCVPixelFormatType_128RGBAFloat;
                const std::size_t size = isFloat ? 4 : isHalf ? 2 : 1;
                std::memcpy(lock.row(y) + static_cast<std::size_t>(i % (4 * width)) * size,
                            isFloat  ? static_cast<const void*>(&value)
                            : isHalf ? static_cast<const void*>(&half)
                                     : &byte,
                            size);
            }
            const double one = type == kCVPixelFormatType_32BGRA || type == kCVPixelFormatType_32RGBA ? 255 : 256;
            const int red = type == kCVPixelFormatType_32BGRA ? 2 : 0;
            work(buffer, [&picture, one, red](Int x, Int y) {
                return Three{picture.at(x, y, red) / one, picture.at(x, y, 1) / one, picture.at(x, y, 2 - red) / one};
            });
        }
    }
};

TEST_P(WideFramesAtEveryLevel, AreShownInSDR) {
    constexpr std::tuple<TransferFunction, ColourPrimaries, float> kinds[] = {
        {TransferFunction::SDR, ColourPrimaries::P3, 1000.f},
        {TransferFunction::SDR, ColourPrimaries::BT2020, 1000.f},
        {TransferFunction::PQ, ColourPrimaries::BT2020, 1000.f},
        {TransferFunction::PQ, ColourPrimaries::P3, 4000.f},
        {TransferFunction::PQ, ColourPrimaries::BT709, 203.f},
        {TransferFunction::HLG, ColourPrimaries::BT2020, 1000.f}};
    onBoth([&](const std::shared_ptr<Device>& device, bool isCompared) {
        const auto exact = FrameTexture::create(device, MTLPixelFormat::rgba32Float, nullptr);
        const auto rounded = FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr);
        const auto queue = device->mtlDevice()->makeCommandQueue();
        std::vector<std::byte> results;
        for (const auto& [transfer, primaries, peak] : kinds) {
            const FrameColours colours{
                .matrix = YCbCrMatrix::BT2020, .transfer = transfer, .primaries = primaries, .peakLuminance = peak};
            forEachKind(colours, end, [&](const std::shared_ptr<CVPixelBuffer>& frame, const Numbers& numbersAt) {
                EXPECT_EQ(colours.attachTo(*frame), kCVReturnSuccess);
                const auto commandBuffer = queue->makeCommandBuffer();
                NSError error;
                ASSERT_TRUE(exact->show(frame, *commandBuffer, &error)) << error.localizedDescription();
                ASSERT_TRUE(rounded->show(frame, *commandBuffer, &error)) << error.localizedDescription();
                ASSERT_TRUE(run(commandBuffer)) << commandBuffer->error()->localizedDescription();
                const auto floats = readPixels(*exact, nullptr), bytes = readPixels(*rounded, nullptr);
                results.insert(results.end(), floats->bytes.begin(), floats->bytes.end());
                results.insert(results.end(), bytes->bytes.begin(), bytes->bytes.end());
                for (Int i = 0; isCompared && i < width * height; ++i) {
                    const auto expected = narrowed(numbersAt(i % width, i / width), colours);
                    float values[4];
                    std::memcpy(values, floats->bytes.data() + 16 * i, 16);
                    for (std::size_t c = 0; c < 3; ++c) {
                        EXPECT_NEAR(values[c], expected[c], 0.1 / 1023)
                            << i << " " << colours.peakLuminance << " " << CVPixelBufferGetPixelFormatType(*frame);
                        EXPECT_NEAR(static_cast<int>(bytes->bytes[4 * i + 2 - c]), expected[c] * 255, 1)
                            << colours.peakLuminance;
                    }
                }
            });
        }
        return results;
    });
}

INSTANTIATE_TEST_SUITE_P(Levels, WideFramesAtEveryLevel, everyLevel, levelName);

}  // namespace
}  // namespace ondrix
