// Frames of every format to textures and back, beside double precision and the plain level, between guard pages.
#include <cmath>
#include <functional>

#include <tests/support/Frames.h>
#include <tests/support/GuardedMemory.h>
#include <tests/support/RecordingTest.h>
#include <tests/support/SimdLevels.h>

namespace ondrix {
namespace {

using test::GuardedEnd;
using test::GuardedMemory;

enum Planes { grey, biPlanar, planar };

/// A format as its name describes it.
struct Format {
    OSType type;
    Planes planes;
    int bits, shift;    ///< of a sample, and to its place in the stored number
    int columns, rows;  ///< that share a sample of chroma
    bool isRedFirst = false;
};
constexpr Format formats[] = {
    {kCVPixelFormatType_OneComponent8, grey, 8, 0, 1, 1},
    {kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, biPlanar, 8, 0, 2, 2},
    {kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, biPlanar, 8, 0, 2, 2},
    {kCVPixelFormatType_420YpCrCb8BiPlanarVideoRange, biPlanar, 8, 0, 2, 2, true},
    {kCVPixelFormatType_422YpCbCr8BiPlanarFullRange, biPlanar, 8, 0, 2, 1},
    {kCVPixelFormatType_444YpCbCr8BiPlanarVideoRange, biPlanar, 8, 0, 1, 1},
    {kCVPixelFormatType_420YpCbCr8Planar, planar, 8, 0, 2, 2},
    {kCVPixelFormatType_422YpCbCr8Planar, planar, 8, 0, 2, 1},
    {kCVPixelFormatType_444YpCbCr8Planar, planar, 8, 0, 1, 1},
    {kCVPixelFormatType_420YpCbCr10BiPlanarVideoRange, biPlanar, 10, 6, 2, 2},
    {kCVPixelFormatType_420YpCbCr10Planar, planar, 10, 0, 2, 2},
    {kCVPixelFormatType_422YpCbCr10Planar, planar, 10, 0, 2, 1},
    {kCVPixelFormatType_444YpCbCr10Planar, planar, 10, 0, 1, 1},
};

/// A frame between guard pages, and its samples.
struct Frame {
    Frame(const Format& layout, Int width, Int height, GuardedEnd end, unsigned seed) : format(layout) {
        const int bytes = format.bits > 8 ? 2 : 1;
        std::vector<CVPixelBufferPlane> planes;
        const int count = format.planes == grey ? 1 : format.planes == biPlanar ? 2 : 3;
        std::mt19937 random(seed);
        for (int plane = 0; plane < count; ++plane) {
            const Int columns = plane == 0 ? width : (width + format.columns - 1) / format.columns;
            const Int rows = plane == 0 ? height : (height + format.rows - 1) / format.rows;
            const Int row = columns * bytes * (format.planes == biPlanar && plane == 1 ? 2 : 1);
            memory.push_back(std::make_unique<GuardedMemory>(static_cast<std::size_t>(row * rows), end));
            planes.push_back({memory.back()->bytes(), row});
            for (Int i = 0; i < row * rows; i += bytes) {
                const auto stored = static_cast<std::uint16_t>((random() & ((1u << format.bits) - 1)) << format.shift);
                std::memcpy(memory.back()->bytes() + i, &stored, static_cast<std::size_t>(bytes));
            }
        }
        const CVReturn status =
            count == 1 ? CVPixelBufferCreateWithBytes(width, height, format.type, planes[0].bytes,
                                                      planes[0].bytesPerRow, {}, &buffer)
                       : CVPixelBufferCreateWithPlanarBytes(width, height, format.type, planes, {}, &buffer);
        EXPECT_EQ(status, kCVReturnSuccess);
    }

    /// Component 0 is luma, 1 is Cb and 2 is Cr.
    [[nodiscard]] double sample(int component, Int x, Int y) const {
        const bool isPaired = format.planes == biPlanar && component > 0;
        const int plane = isPaired ? 1 : component;
        const PixelBufferLock lock(buffer, kCVPixelBufferLock_ReadOnly);
        const Int column = std::clamp<Int>(x, 0, lock.width(plane) - 1),
                  row = std::clamp<Int>(y, 0, lock.height(plane) - 1);
        const Int element = isPaired ? 2 * column + (component == (format.isRedFirst ? 1 : 2)) : column;
        std::uint16_t stored = 0;
        const Int bytes = format.bits > 8 ? 2 : 1;
        std::memcpy(&stored, lock.row(row, plane) + bytes * element, static_cast<std::size_t>(bytes));
        return stored >> format.shift;
    }
    /// Chroma at a pixel of luma.
    [[nodiscard]] double chromaAt(int component, Int x, Int y, bool isCentred) const {
        const double atX = format.columns == 1 ? double(x) : isCentred ? double(x) / 2 - 0.25 : double(x) / 2;
        const double atY = format.rows == 1 ? double(y) : double(y) / 2 - 0.25;
        const Int left = std::lround(std::floor(atX)), top = std::lround(std::floor(atY));
        const double right = atX - double(left), below = atY - double(top);
        const auto row = [&](Int line) {
            return sample(component, left, line) * (1 - right) + sample(component, left + 1, line) * right;
        };
        return row(top) * (1 - below) + row(top + 1) * below;
    }
    [[nodiscard]] std::vector<std::uint8_t> bytes() const {
        std::vector<std::uint8_t> all;
        for (const auto& plane : memory) all.insert(all.end(), plane->pages(), plane->pages() + plane->usable());
        return all;
    }

    Format format;
    std::vector<std::unique_ptr<GuardedMemory>> memory;
    std::shared_ptr<CVPixelBuffer> buffer;
};

/// The equations of the standards.
struct Equations {
    double red = 0.2126, blue = 0.0722, black, luma, grey, chroma, largest;

    Equations(const FrameColours& colours, int bits) : largest(std::pow(2, bits) - 1) {
        if (colours.matrix == YCbCrMatrix::BT601) red = 0.299, blue = 0.114;
        if (colours.matrix == YCbCrMatrix::BT2020) red = 0.2627, blue = 0.0593;
        const bool isFull = colours.range == ColourRange::full;
        const double unit = std::pow(2, bits - 8);
        black = isFull ? 0 : 16 * unit;
        luma = isFull ? largest : 219 * unit;
        grey = 128 * unit;
        chroma = isFull ? largest : 224 * unit;
    }
    [[nodiscard]] std::array<double, 3> colour(double y, double cb, double cr) const {
        const double r = (y - black) / luma + 2 * (1 - red) * (cr - grey) / chroma;
        const double b = (y - black) / luma + 2 * (1 - blue) * (cb - grey) / chroma;
        return {r, ((y - black) / luma - red * r - blue * b) / (1 - red - blue), b};
    }
    [[nodiscard]] std::array<double, 3> samples(const std::array<double, 3>& rgb) const {
        const double y = red * rgb[0] + (1 - red - blue) * rgb[1] + blue * rgb[2];
        return {black + luma * y, grey + chroma * (rgb[2] - y) / (2 - 2 * blue),
                grey + chroma * (rgb[0] - y) / (2 - 2 * red)};
    }
};

std::shared_ptr<Device> deviceOf(const std::string& level) {
    setenv("ONDRIX_SIMD", level.c_str(), 1);
    const auto device = Device::create(MTLCreateSystemDefaultDevice());
    unsetenv("ONDRIX_SIMD");
    return device;
}

class FramesAtEveryLevel : public testing::TestWithParam<std::tuple<std::string, GuardedEnd>> {
protected:
    void SetUp() override {
        if (!test::runsHere(std::get<0>(GetParam())))
            GTEST_SKIP() << "this processor lacks " << std::get<0>(GetParam());
    }
    /// Does the same on a device of the level plain and on one of this level. Devices are the system's one by one.
    template <class Work>
    void onBoth(const Work& work) {
        auto expected = work(deviceOf("plain"), true);
        EXPECT_EQ(work(deviceOf(std::get<0>(GetParam())), false), expected);
    }
    /// Calls `work` with each format, a few sizes and all kinds of colours.
    void forEach(const std::function<void(const Format&, Int, Int, FrameColours)>& work) {
        unsigned kind = 0;
        for (const Format& format : formats) {
            for (const auto& [width, height] : {std::pair<Int, Int>{1, 1}, {3, 2}, {192, 4}, {75, 11}}) {
                FrameColours colours;
                colours.matrix = static_cast<YCbCrMatrix>(kind % 3);
                colours.range = FrameColours::rangeOf(format.type).value_or(static_cast<ColourRange>(kind % 2));
                colours.siting = static_cast<ChromaSiting>(kind++ / 2 % 2);
                work(format, width, height, colours);
            }
        }
    }
    static bool run(const std::shared_ptr<MTLCommandBuffer>& commandBuffer) {
        commandBuffer->commit();
        commandBuffer->waitUntilCompleted();
        return commandBuffer->status() == MTLCommandBufferStatus::completed;
    }
    const GuardedEnd end = std::get<1>(GetParam());
};

TEST_P(FramesAtEveryLevel, AreShownAsTheStandardsSay) {
    onBoth([&](const std::shared_ptr<Device>& device, bool isCompared) {
        const auto exact = FrameTexture::create(device, MTLPixelFormat::rgba32Float, nullptr);
        const auto rounded = FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr);
        const auto queue = device->mtlDevice()->makeCommandQueue();
        std::vector<std::byte> results;
        forEach([&](const Format& format, Int width, Int height, const FrameColours& colours) {
            const Frame frame(format, width, height, end, static_cast<unsigned>(width));
            EXPECT_EQ(colours.attachTo(*frame.buffer), kCVReturnSuccess);
            const auto commandBuffer = queue->makeCommandBuffer();
            NSError error;
            ASSERT_TRUE(exact->show(frame.buffer, *commandBuffer, &error)) << error.localizedDescription();
            ASSERT_TRUE(rounded->show(frame.buffer, *commandBuffer, &error)) << error.localizedDescription();
            ASSERT_TRUE(run(commandBuffer)) << commandBuffer->error()->localizedDescription();
            const auto floats = readPixels(*exact, nullptr), bytes = readPixels(*rounded, nullptr);
            results.insert(results.end(), floats->bytes.begin(), floats->bytes.end());
            results.insert(results.end(), bytes->bytes.begin(), bytes->bytes.end());
            if (!isCompared) return;
            const Equations equations(colours, format.bits);
            const bool isCentred = colours.siting == ChromaSiting::centre;
            for (Int y = 0; y < height; ++y) {
                for (Int x = 0; x < width; ++x) {
                    const auto chroma = [&](int component) {
                        return format.planes == grey ? equations.grey : frame.chromaAt(component, x, y, isCentred);
                    };
                    const auto expected = equations.colour(frame.sample(0, x, y), chroma(1), chroma(2));
                    for (std::size_t i = 0; i < 3; ++i) {
                        float value;
                        std::memcpy(&value, floats->bytes.data() + 16 * (y * width + x) + 4 * i, 4);
                        const int byte = static_cast<int>(bytes->bytes[4 * (y * width + x) + 2 - i]);
                        ASSERT_NEAR(value, expected[i], 1e-5)
                            << format.type << " at " << x << "," << y << " of " << width;
                        ASSERT_NEAR(byte, std::clamp(expected[i], 0.0, 1.0) * 255, 0.56);
                    }
                }
            }
        });
        return results;
    });
}

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

TEST_P(FramesAtEveryLevel, OfOtherColoursAreShownInSDR) {
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
            for (const std::size_t index : {9u, 6u}) {  // P010 and planar 8-bit
                constexpr Int width = 33, height = 6;
                const Frame frame(formats[index], width, height, end, 3);
                FrameColours colours{
                    .matrix = YCbCrMatrix::BT2020, .transfer = transfer, .primaries = primaries, .peakLuminance = peak};
                EXPECT_EQ(colours.attachTo(*frame.buffer), kCVReturnSuccess);
                CVBufferSetAttachment(*frame.buffer, CVAttachment::PeakLuminance, std::to_string(peak));
                const auto commandBuffer = queue->makeCommandBuffer();
                NSError error;
                EXPECT_TRUE(exact->show(frame.buffer, *commandBuffer, &error)) << error.localizedDescription();
                EXPECT_TRUE(rounded->show(frame.buffer, *commandBuffer, &error)) << error.localizedDescription();
                EXPECT_TRUE(run(commandBuffer)) << commandBuffer->error()->localizedDescription();
                const auto floats = readPixels(*exact, nullptr), bytes = readPixels(*rounded, nullptr);
                results.insert(results.end(), floats->bytes.begin(), floats->bytes.end());
                results.insert(results.end(), bytes->bytes.begin(), bytes->bytes.end());
                const Equations equations(colours, formats[index].bits);
                for (Int i = 0; isCompared && i < width * height; ++i) {
                    const Int x = i % width, y = i / width;
                    const auto expected =
                        narrowed(equations.colour(frame.sample(0, x, y), frame.chromaAt(1, x, y, false),
                                                  frame.chromaAt(2, x, y, false)),
                                 colours);
                    float values[4];
                    std::memcpy(values, floats->bytes.data() + 16 * i, 16);
                    for (std::size_t c = 0; c < 3; ++c) {
                        EXPECT_NEAR(values[c], expected[c], 0.1 / 1023) << i << " " << peak;
                        EXPECT_NEAR(static_cast<int>(bytes->bytes[4 * i + 2 - c]), expected[c] * 255, 1) << peak;
                    }
                }
            }
        }
        return results;
    });
}

TEST_P(FramesAtEveryLevel, AreWrittenAsTheStandardsSay) {
    onBoth([&](const std::shared_ptr<Device>& device, bool isCompared) {
        const auto queue = device->mtlDevice()->makeCommandQueue();
        std::vector<std::uint8_t> results;
        forEach([&](const Format& format, Int width, Int height, const FrameColours& colours) {
            const auto picture = test::Picture::noise(width, height, 7);
            const Frame frame(format, width, height, end, 1);
            NSError error;
            const auto writer = FrameWriter::create(device, format.type, colours, &error);
            ASSERT_NE(writer, nullptr) << error.localizedDescription();
            const auto commandBuffer = queue->makeCommandBuffer();
            const auto texture = test::textureOf(device, picture);
            ASSERT_TRUE(writer->write(*texture, frame.buffer, *commandBuffer, &error)) << error.localizedDescription();
            ASSERT_TRUE(run(commandBuffer)) << commandBuffer->error()->localizedDescription();
            const auto bytes = frame.bytes();
            results.insert(results.end(), bytes.begin(), bytes.end());
            if (!isCompared) return;
            const Equations equations(colours, format.bits);
            const auto colourAt = [&](Int x, Int y) {
                x = std::clamp<Int>(x, 0, width - 1);
                y = std::clamp<Int>(y, 0, height - 1);
                return std::array{picture.at(x, y, 2) / 255.0, picture.at(x, y, 1) / 255.0,
                                  picture.at(x, y, 0) / 255.0};
            };
            const auto near = [&](double actual, double expected) {
                ASSERT_NEAR(actual, std::clamp(expected, 0.0, equations.largest), 0.52)
                    << format.type << " of " << width;
            };
            for (Int y = 0; y < height; ++y) {
                for (Int x = 0; x < width; ++x) near(frame.sample(0, x, y), equations.samples(colourAt(x, y))[0]);
            }
            if (format.planes == grey) return;
            const double left[] = {0.25, 0.5, 0.25}, centre[] = {0, 0.5, 0.5}, own[] = {0, 1, 0};
            const auto& weights = format.columns == 1 ? own : colours.siting == ChromaSiting::left ? left : centre;
            for (Int y = 0; y < (height + format.rows - 1) / format.rows; ++y) {
                for (Int x = 0; x < (width + format.columns - 1) / format.columns; ++x) {
                    std::array<double, 3> mean{};
                    for (Int row = 0; row < format.rows; ++row) {
                        for (int column = 0; column < 3; ++column) {
                            const auto colour = colourAt(x * format.columns + column - 1, y * format.rows + row);
                            for (std::size_t i = 0; i < 3; ++i) mean[i] += colour[i] * weights[column] / format.rows;
                        }
                    }
                    const auto expected = equations.samples(mean);
                    near(frame.sample(1, x, y), expected[1]);
                    near(frame.sample(2, x, y), expected[2]);
                }
            }
        });
        return results;
    });
}

// Frames that overwrite each other on their way, in one video or in two; what a frame states lost or kept too long.
TEST(FrameTexture, FramesOnTheirWayKeepTheirPictures) {
    constexpr OSType nv12 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    const auto device = DeviceManager::shared().defaultDevice();
    const auto queue = device->mtlDevice()->makeCommandQueue();
    const auto writer = FrameWriter::create(device, nv12, {.matrix = YCbCrMatrix::BT601}, nullptr);
    const std::shared_ptr<FrameTexture> videos[] = {FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr),
                                                    FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr)};
    const auto sizes = std::make_shared<test::SizeListener>();
    videos[0]->add(sizes);
    std::vector<std::pair<std::shared_ptr<CVPixelBuffer>, std::shared_ptr<CVPixelBuffer>>> frames;
    std::vector<std::shared_ptr<MTLCommandBuffer>> commandBuffers;
    for (unsigned number = 0; number < 24; ++number) {
        auto frame = test::noise(number < 20 ? 16 : 8, 6, nv12, number);
        // Grey, so that luma comes back whatever the matrix.
        test::forEachElement(*frame, 0, 1, [](std::uint8_t* luma, Int, Int) { *luma = *luma % 219 + 16; });
        test::forEachElement(*frame, 1, 2, [](std::uint8_t* chroma, Int, Int) { chroma[0] = chroma[1] = 128; });
        commandBuffers.push_back(queue->makeCommandBuffer());
        ASSERT_TRUE(videos[number % 2]->show(frame, *commandBuffers.back(), nullptr));
        frames.emplace_back(frame, writer->write(*videos[number % 2], *commandBuffers.back(), nullptr));
        ASSERT_NE(frames.back().second, nullptr);
    }
    for (const auto& commandBuffer : commandBuffers) commandBuffer->commit();
    commandBuffers.back()->waitUntilCompleted();
    for (const auto& [from, to] : frames) {
        EXPECT_EQ(test::bytesOf(to, 0), test::bytesOf(from, 0));
        EXPECT_EQ(test::bytesOf(to, 1), test::bytesOf(from, 1));
        EXPECT_EQ(FrameColours::of(*to), (FrameColours{.matrix = YCbCrMatrix::BT601}));
    }
    EXPECT_THAT(sizes->events, testing::ElementsAre("size 16x6", "size 8x6"));

    const auto bgra = test::noise(3, 2, kCVPixelFormatType_32BGRA);
    ASSERT_TRUE(videos[0]->show(bgra, *queue->makeCommandBuffer(), nullptr));
    const auto shown = test::pictureOf(*videos[0]).bytes;
    EXPECT_EQ(std::vector<int>(shown.begin(), shown.end()), test::bytesOf(bgra, 0)) << "the frame's own memory";
}

class FrameFailureTest : public test::RecordingTest {};

TEST_F(FrameFailureTest, IsToldAndLeavesTheFrameBefore) {
    constexpr OSType nv12 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    const auto queue = mtlDevice->makeCommandQueue();
    const auto texture = FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr);
    const auto writer = FrameWriter::create(device, nv12, {}, nullptr);
    ASSERT_TRUE(texture->show(test::frame(8, 4, nv12), *queue->makeCommandBuffer(), nullptr));
    const auto strange = test::frame(8, 4, nv12);
    CVBufferSetAttachment(*strange, CVAttachment::YCbCrMatrix, "FCC");
    const auto show = [&](const std::shared_ptr<CVPixelBuffer>& frame) {
        return [&texture, &queue, frame] { return texture->show(frame, *queue->makeCommandBuffer(), nullptr); };
    };
    expectErrors({"wrapPlane 1"}, show(test::frame(8, 4, nv12)), {"Failed to wrap a plane of the frame as a texture."});
    expectErrors({"makeTexture"}, show(test::frame(10, 4, nv12)), {"Failed to make an image for the frame."});
    expectErrors({"Ondrix::Frames::ReadI420"}, show(test::frame(8, 4, kCVPixelFormatType_420YpCbCr8Planar)),
                 {"Failed to make the function 'Ondrix::Frames::ReadI420' for frames."});
    EXPECT_EQ(texture->size(), (Size2<Int>{8, 4}));
    for (int times = 0; times < 2; ++times) EXPECT_TRUE(show(strange)());
    EXPECT_EQ(log.entries().size(), 1u) << "told for each frame";
    EXPECT_EQ(FrameColours::of(*strange), FrameColours{});

    const auto write = [&](const Texture& picture, const std::shared_ptr<CVPixelBuffer>& frame) {
        return writer->write(picture, frame, *queue->makeCommandBuffer(), nullptr);
    };
    expectErrors({}, [&] { return write(*texture, test::frame(8, 6, nv12)); },
                 {"Failed to write a frame of another size or format than the texture and the writer."});
    expectErrors({}, [&] { return FrameWriter::create(device, kCVPixelFormatType_32RGBA, {}, nullptr); },
                 {"Failed to make a writer of frames for a pixel format that can't be written."});
}

INSTANTIATE_TEST_SUITE_P(Levels, FramesAtEveryLevel,
                         testing::Combine(testing::ValuesIn(test::builtLevels()),
                                          testing::Values(GuardedEnd::first, GuardedEnd::last)),
                         [](const auto& level) {
                             return test::testName(std::get<0>(level.param)) +
                                    (std::get<1>(level.param) == GuardedEnd::first ? "_first" : "_last");
                         });

}  // namespace
}  // namespace ondrix
