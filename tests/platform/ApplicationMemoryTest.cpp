#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include <tests/support/Frames.h>
#include <tests/support/GuardedMemory.h>

namespace ondrix {
namespace {

constexpr OSType bgra = kCVPixelFormatType_32BGRA;
constexpr OSType nv12 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;

/// Rows of noise with gaps, right before memory that may not be touched: the first byte past the last row is a fault.
class OwnRows {
public:
    OwnRows(std::int64_t rowBytes, std::int64_t height, std::int64_t gap, unsigned seed = 7)
        : rowBytes_(rowBytes),
          stride_(rowBytes + gap),
          height_(height),
          memory_(stride_ * height - gap, test::GuardedEnd::last) {
        std::mt19937 random(seed);
        std::generate_n(memory_.pages(), memory_.usable(), [&random] { return static_cast<std::uint8_t>(random()); });
        before_.assign(memory_.pages(), memory_.pages() + memory_.usable());
    }
    [[nodiscard]] CVPixelBufferPlane plane() const { return {memory_.bytes(), stride_}; }
    [[nodiscard]] std::uint8_t* row(std::int64_t y) const { return memory_.bytes() + y * stride_; }
    /// Writes over the rows what was there at first, and says whether nothing else has changed.
    [[nodiscard]] bool onlyRowsChanged() const {
        for (std::int64_t y = 0; y < height_; ++y) {
            std::memcpy(row(y), before_.data() + (row(y) - memory_.pages()), rowBytes_);
        }
        return std::equal(before_.begin(), before_.end(), memory_.pages());
    }

private:
    std::int64_t rowBytes_, stride_, height_;
    test::GuardedMemory memory_;
    std::vector<std::uint8_t> before_;
};

std::shared_ptr<CVPixelBuffer> wrap(std::int64_t width, std::int64_t height, OSType format,
                                    const std::vector<CVPixelBufferPlane>& planes,
                                    CVPixelBufferReleaseCallback release = {}) {
    std::shared_ptr<CVPixelBuffer> buffer;
    EXPECT_EQ(CVPixelBufferCreateWithPlanarBytes(width, height, format, planes, std::move(release), &buffer),
              kCVReturnSuccess);
    return buffer;
}

class ApplicationMemory : public testing::Test {
protected:
    std::shared_ptr<Texture> texture(const std::shared_ptr<CVPixelBuffer>& buffer) {
        return device->makeTexture(device->textureConverter()->texture(buffer));
    }
    std::shared_ptr<Device> device = DeviceManager::shared().defaultDevice();
};

/// Copies and scalings, from one application's memory to another's.
TEST_F(ApplicationMemory, IsReadAndWrittenWhereItLies) {
    for (const auto& [width, height, gap] :
         {std::tuple{1, 1, 0}, {1, 9, 4}, {2, 2, 0}, {5, 3, 4}, {37, 9, 0}, {64, 5, 12}, {300, 40, 64}}) {
        for (const PassType type : {PassType::renderPass, PassType::computePass}) {
            for (const int enlarged : {1, 2, 3}) {
                SCOPED_TRACE(testing::Message() << width << 'x' << height << " gap " << gap << " times " << enlarged);
                const OwnRows small(4 * width, height, gap), large(4 * width * enlarged, height * enlarged, gap, 8);
                const auto from = texture(wrap(width, height, bgra, {small.plane()}));
                const auto to = texture(wrap(width * enlarged, height * enlarged, bgra, {large.plane()}));
                const auto blit = [&](const auto& source, const auto& target) {
                    const auto effect = BlitEffect::create(device, source, target, type, MTLPixelFormat::bgra8Unorm);
                    EXPECT_TRUE(effect->applyAndWait(nullptr));
                };
                blit(from, to);
                for (int y = 0; y < (enlarged == 1 ? height : 0); ++y) {
                    EXPECT_EQ(std::memcmp(large.row(y), small.row(y), 4 * width), 0) << y;
                }
                blit(to, from);
                EXPECT_TRUE(large.onlyRowsChanged() && small.onlyRowsChanged());
            }
        }
    }
}

TEST_F(ApplicationMemory, OfTwoPlanesIsConvertedAsACopyIs) {
    for (const auto& [width, height, gap] : {std::tuple{1, 1, 0}, {5, 3, 2}, {130, 9, 0}, {256, 8, 6}}) {
        const std::int64_t columns = (width + 1) / 2, rows = (height + 1) / 2;
        const OwnRows luma(width, height, gap), chroma(2 * columns, rows, gap);
        const auto copy = test::frame(width, height, nv12);
        const PixelBufferLock lock(copy);
        for (std::int64_t y = 0; y < height; ++y) std::memcpy(lock.row(y), luma.row(y), width);
        for (std::int64_t y = 0; y < rows; ++y) std::memcpy(lock.row(y, 1), chroma.row(y), 2 * columns);
        const auto converter = device->textureConverter();
        const auto expected = test::pictureOf(*converter->texture(copy));
        const auto own = converter->texture(wrap(width, height, nv12, {luma.plane(), chroma.plane()}));
        EXPECT_EQ(test::pictureOf(*own), expected) << width << 'x' << height;
    }
}

TEST_F(ApplicationMemory, IsReleasedOnceWhenTheLastHolderLetsGo) {
    const OwnRows rows(16, 2, 0);
    int released = 0;
    auto buffer = wrap(4, 2, bgra, {rows.plane()}, [&released] { ++released; });
    auto surface = CVPixelBufferGetIOSurface(buffer);
    auto first = texture(buffer), second = texture(buffer);
    buffer.reset();
    surface.reset();
    first.reset();
    EXPECT_EQ(released, 0);
    std::thread([&second] { second.reset(); }).join();
    EXPECT_EQ(released, 1);
}

TEST(ApplicationMemoryRefusal, LeavesTheMemoryToTheApplication) {
    std::uint8_t bytes[256];
    const std::tuple<std::int64_t, std::int64_t, OSType, std::vector<CVPixelBufferPlane>, CVReturn> cases[] = {
        {4, 2, bgra, {{bytes, 16}}, kCVReturnSuccess},
        {4, 2, bgra, {{nullptr, 16}}, kCVReturnInvalidArgument},
        {4, 2, bgra, {{bytes, 12}}, kCVReturnInvalidArgument},
        {4, 2, bgra, {{bytes, 18}}, kCVReturnInvalidArgument},
        {4, 2, bgra, {{bytes, -16}}, kCVReturnInvalidArgument},
        {4, 2, bgra, {{bytes, std::int64_t{1} << 40}}, kCVReturnInvalidArgument},
        {0, 2, bgra, {{bytes, 16}}, kCVReturnInvalidSize},
        {4, 16385, bgra, {{bytes, 16}}, kCVReturnInvalidSize},
        {4, 2, 0x52474220, {{bytes, 16}}, kCVReturnInvalidPixelFormat},
        {4, 2, nv12, {{bytes, 16}}, kCVReturnInvalidPixelFormat},
        {4, 2, nv12, {{bytes, 4}, {bytes + 8, 3}}, kCVReturnInvalidArgument},
        {4, 2, nv12, {{bytes, 5}, {bytes + 10, 4}}, kCVReturnSuccess},
    };
    for (const auto& [width, height, format, planes, expected] : cases) {
        SCOPED_TRACE(testing::Message() << width << 'x' << height << " rows of " << planes[0].bytesPerRow);
        int released = 0;
        const auto release = [&released] { ++released; };
        std::shared_ptr<CVPixelBuffer> buffer;
        EXPECT_EQ(CVPixelBufferCreateWithPlanarBytes(width, height, format, planes, release, &buffer), expected);
        if (planes.size() == 1) {
            EXPECT_EQ(CVPixelBufferCreateWithBytes(width, height, format, planes[0].bytes, planes[0].bytesPerRow, {},
                                                   &buffer),
                      expected);
        }
        EXPECT_EQ(buffer != nullptr, expected == kCVReturnSuccess);
        buffer.reset();
        EXPECT_EQ(released, expected == kCVReturnSuccess ? 1 : 0);
    }
}

}  // namespace
}  // namespace ondrix
