// Textures, buffers and samplers: what is refused, how memory lies, and what aliases a surface.
#include <algorithm>
#include <limits>
#include <numeric>

#include <gtest/gtest.h>

#include <ondrix/platform/software/Texture.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

/// One plane of 2-byte elements.
class Surface final : public IOSurface {
public:
    Surface(std::uint64_t width, std::uint64_t height, std::uint64_t bytesPerRow)
        : width_(width), height_(height), bytesPerRow_(bytesPerRow), bytes_(bytesPerRow * height + 64) {}

    [[nodiscard]] std::uint64_t planeCount() const override { return 1; }
    [[nodiscard]] std::uint64_t widthOfPlane(std::uint64_t) const override { return width_; }
    [[nodiscard]] std::uint64_t heightOfPlane(std::uint64_t) const override { return height_; }
    [[nodiscard]] std::uint64_t bytesPerElementOfPlane(std::uint64_t) const override { return 2; }
    [[nodiscard]] std::uint64_t bytesPerRowOfPlane(std::uint64_t) const override { return bytesPerRow_; }
    [[nodiscard]] std::uint8_t* baseAddressOfPlane(std::uint64_t) const override { return bytes_.data(); }

private:
    std::uint64_t width_, height_, bytesPerRow_;
    mutable std::vector<std::uint8_t> bytes_;
};

MTLTextureDescriptor describe(MTLPixelFormat format, std::uint64_t width, std::uint64_t height) {
    return MTLTextureDescriptor::texture2DDescriptor(format, width, height, false);
}

}  // namespace

TEST(Textures, RefuseWhatTheDeviceCannotHold) {
    const Gpu gpu;
    const auto rgba = MTLPixelFormat::rgba8Unorm;
    EXPECT_EQ(gpu.device->makeTexture(describe(rgba, 0, 4)), nullptr);
    EXPECT_EQ(gpu.device->makeTexture(describe(rgba, 4, 16385)), nullptr);
    EXPECT_EQ(gpu.device->makeTexture(describe(rgba, std::numeric_limits<std::uint64_t>::max(), 1)), nullptr);
    EXPECT_EQ(gpu.device->makeTexture(describe(MTLPixelFormat::invalid, 4, 4)), nullptr);
    EXPECT_EQ(gpu.device->makeTexture(describe(static_cast<MTLPixelFormat>(252), 4, 4)), nullptr);
    EXPECT_NE(gpu.device->makeTexture(describe(MTLPixelFormat::r8Unorm, 16384, 1)), nullptr);
    EXPECT_NE(gpu.device->makeTexture(describe(MTLPixelFormat::r8Unorm, 1, 16384)), nullptr);
}

// Vector code reads past a row's end, and rows at the same place of a page evict each other.
TEST(Textures, RowsArePaddedAndSpread) {
    for (const std::uint64_t width : {1u, 16u, 251u, 1008u, 1024u, 2048u, 16384u}) {
        const auto texture = software::Texture::create(describe(MTLPixelFormat::rgba8Unorm, width, 2));
        ASSERT_TRUE(texture);
        const auto& view = texture->view();
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.bytes) % 64, 0u);
        EXPECT_EQ(view.bytesPerRow % 64, 0) << width;
        EXPECT_GE(view.bytesPerRow, static_cast<std::int64_t>(width * 4 + 64));
        EXPECT_NE(view.bytesPerRow % 4096, 0) << width;
    }
}

// A region written into the middle comes back from there, and nothing else changes.
TEST(Textures, RegionsKeepToThemselves) {
    const Gpu gpu;
    const auto texture = gpu.texture(7, 5, MTLPixelFormat::rg8Unorm);
    std::vector<std::uint8_t> source(2 * 10);  // two rows of three pixels, ten bytes apart
    std::iota(source.begin(), source.end(), std::uint8_t{1});
    texture->replace(MTLRegionMake2D(2, 3, 3, 2), 0, source.data(), 10);
    std::vector<std::uint8_t> expected(7 * 5 * 2);
    for (std::size_t row = 0; row < 2; ++row) {
        std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(row * 10), 6,
                    expected.begin() + static_cast<std::ptrdiff_t>(((3 + row) * 7 + 2) * 2));
    }
    EXPECT_EQ(bytes(*texture), expected);
    std::vector<std::uint8_t> back(20);
    texture->getBytes(back.data(), 10, MTLRegionMake2D(2, 3, 3, 2), 0);
    for (std::size_t row : {0u, 10u}) {
        EXPECT_TRUE(std::equal(back.begin() + static_cast<std::ptrdiff_t>(row),
                               back.begin() + static_cast<std::ptrdiff_t>(row + 6),
                               source.begin() + static_cast<std::ptrdiff_t>(row)));
    }
}

TEST(Textures, AliasASurfaceAndKeepIt) {
    const Gpu gpu;
    auto surface = std::make_shared<Surface>(6, 4, 32);
    const auto format = MTLPixelFormat::rg8Unorm;
    EXPECT_EQ(gpu.device->makeTexture(describe(format, 7, 4), surface, 0), nullptr);
    EXPECT_EQ(gpu.device->makeTexture(describe(format, 6, 5), surface, 0), nullptr);
    EXPECT_EQ(gpu.device->makeTexture(describe(format, 6, 4), surface, 1), nullptr);
    EXPECT_EQ(gpu.device->makeTexture(describe(MTLPixelFormat::rgba8Unorm, 2, 2), surface, 0), nullptr);
    EXPECT_EQ(gpu.device->makeTexture(describe(format, 6, 4), std::make_shared<Surface>(6, 4, 11), 0), nullptr);

    const auto texture = gpu.device->makeTexture(describe(format, 5, 3), surface, 0);
    ASSERT_TRUE(texture);
    const std::array<std::uint8_t, 2> pixel = {7, 9};
    texture->replace(MTLRegionMake2D(4, 2, 1, 1), 0, pixel.data(), 2);
    EXPECT_EQ(surface->baseAddressOfPlane(0)[2 * 32 + 8], 7);
    const std::weak_ptr<Surface> watched = surface;
    surface.reset();
    EXPECT_FALSE(watched.expired());
}

TEST(Buffers, RefuseImpossibleLengthsAndStartZeroed) {
    const Gpu gpu;
    for (const std::int64_t length : {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min(),
                                      std::numeric_limits<std::int64_t>::max(), std::int64_t{1} << 50}) {
        EXPECT_EQ(gpu.device->makeBuffer(length, 0), nullptr) << length;
    }
    const auto buffer = gpu.device->makeBuffer(100, 0);
    const auto* bytes = static_cast<const std::uint8_t*>(buffer->contents());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % 64, 0u);
    EXPECT_TRUE(std::all_of(bytes, bytes + 100, [](std::uint8_t byte) { return byte == 0; }));
}

TEST(Samplers, RefuseUnknownValues) {
    const Gpu gpu;
    MTLSamplerDescriptor descriptor;
    EXPECT_NE(gpu.device->makeSamplerState(descriptor), nullptr);
    descriptor.maxAnisotropy = 17;
    EXPECT_EQ(gpu.device->makeSamplerState(descriptor), nullptr);
    descriptor.maxAnisotropy = 16;
    descriptor.tAddressMode = static_cast<MTLSamplerAddressMode>(6);
    EXPECT_EQ(gpu.device->makeSamplerState(descriptor), nullptr);
}
