#pragma once

#include <cmath>
#include <cstdlib>
#include <functional>

#include <tests/support/Frames.h>
#include <tests/support/GuardedMemory.h>
#include <tests/support/SimdLevels.h>

namespace ondrix::test {

enum Planes { grey, biPlanar, planar };

/// A format as its name describes it.
struct Format {
    OSType type;
    Planes planes;
    int bits, shift;    ///< of a sample, and to its place in the stored number
    int columns, rows;  ///< that share a sample of chroma
    bool isRedFirst = false;
};
inline constexpr Format formats[] = {
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
struct GuardedFrame {
    GuardedFrame(const Format& layout, Int width, Int height, GuardedEnd end, unsigned seed) : format(layout) {
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

inline std::shared_ptr<Device> deviceOf(const std::string& level) {
    setenv("ONDRIX_SIMD", level.c_str(), 1);
    const auto device = Device::create(MTLCreateSystemDefaultDevice());
    unsetenv("ONDRIX_SIMD");
    return device;
}

class EveryLevel : public testing::TestWithParam<std::tuple<std::string, GuardedEnd>> {
protected:
    void SetUp() override {
        if (!runsHere(std::get<0>(GetParam()))) GTEST_SKIP() << "this processor lacks " << std::get<0>(GetParam());
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

inline const auto everyLevel =
    testing::Combine(testing::ValuesIn(builtLevels()), testing::Values(GuardedEnd::first, GuardedEnd::last));
inline constexpr auto levelName = [](const auto& level) {
    return testName(std::get<0>(level.param)) + (std::get<1>(level.param) == GuardedEnd::first ? "_first" : "_last");
};

}  // namespace ondrix::test
