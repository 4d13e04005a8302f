#include <cstring>
#include <random>

#include <tests/support/RecordingTest.h>

namespace ondrix {
namespace {

/// Noise in rows that are longer than the texture's.
std::vector<std::byte> noise(std::size_t size) {
    std::mt19937 random(1);
    std::vector<std::byte> bytes(size);
    for (std::byte& byte : bytes) byte = static_cast<std::byte>(random());
    return bytes;
}

TEST(PixelsTest, EveryFormatComesOutAsItWentIn) {
    const auto device = DeviceManager::shared().defaultDevice();
    for (const auto format : {MTLPixelFormat::r8Unorm, MTLPixelFormat::r8Unorm_srgb, MTLPixelFormat::r16Float,
                              MTLPixelFormat::rg8Unorm, MTLPixelFormat::rg8Unorm_srgb, MTLPixelFormat::r32Float,
                              MTLPixelFormat::rg16Float, MTLPixelFormat::rgba8Unorm, MTLPixelFormat::rgba8Unorm_srgb,
                              MTLPixelFormat::bgra8Unorm, MTLPixelFormat::bgra8Unorm_srgb, MTLPixelFormat::rg32Float,
                              MTLPixelFormat::rgba16Float, MTLPixelFormat::rgba32Float}) {
        for (const auto& [width, height] : {std::pair<Int, Int>{1, 1}, {13, 7}, {251, 3}}) {
            const auto texture = device->makeTexture(width, height, format, MTLTextureUsage::shaderRead);
            const Int row = width * pixelFormatInfo(format)->bytesPerPixel;
            const Int bytesPerRow = row + 5;
            const auto bytes = noise(static_cast<std::size_t>(bytesPerRow * (height - 1) + row));
            ASSERT_TRUE(writePixels(*texture, bytes.data(), bytesPerRow, nullptr));
            const auto pixels = readPixels(*texture, nullptr);
            ASSERT_TRUE(pixels);
            ASSERT_EQ(pixels->bytes.size(), static_cast<std::size_t>(row * height));
            EXPECT_EQ(pixels->bytesPerRow, row);
            for (Int y = 0; y < height; ++y) {
                EXPECT_EQ(std::memcmp(&pixels->bytes[static_cast<std::size_t>(y * row)],
                                      &bytes[static_cast<std::size_t>(y * bytesPerRow)], static_cast<std::size_t>(row)),
                          0)
                    << description(format) << " " << width << "x" << height << " row " << y;
            }
        }
    }
}

TEST(PixelsTest, WhatWasCommittedBeforeIsDone) {
    const auto device = DeviceManager::shared().defaultDevice();
    constexpr auto format = MTLPixelFormat::bgra8Unorm;
    const auto input = device->makeTexture(Size2(700, 500), format, MTLTextureUsage::shaderRead);
    const auto output = device->makeTexture(Size2(700, 500), format, MTLTextureUsage::shaderWrite);
    const auto blit = BlitEffect::create(device, input, output, PassType::computePass, format);
    const auto bytes = noise(4 * 700 * 500);
    for (int round = 0; round < 20; ++round) {
        const std::vector<std::byte> even(bytes.size(), static_cast<std::byte>(round));
        ASSERT_TRUE(writePixels(*input, even.data(), 4 * 700, nullptr));
        ASSERT_TRUE(blit->apply(nullptr));
        ASSERT_TRUE(writePixels(*input, bytes.data(), 4 * 700, nullptr)) << "not seen by the work before";
        EXPECT_EQ(readPixels(*output, nullptr)->bytes, even);
    }
}

class PixelsFailureTest : public test::RecordingTest {};

TEST_F(PixelsFailureTest, TheCallerHearsWhyAndTheLogNothing) {
    const auto used = texture(4, 2);
    const std::byte bytes[32] = {};
    NSError error;
    EXPECT_FALSE(writePixels(*used, bytes, 15, &error));
    EXPECT_EQ(error.localizedDescription(), "rows of 15 bytes are too short for a texture with rows of 16");
    for (const char* refused : {"makeCommandQueue", "makeCommandBuffer"}) {
        mtlDevice->refused = {refused};
        EXPECT_FALSE(writePixels(*used, bytes, 16, &error));
        EXPECT_FALSE(readPixels(*used, nullptr));
        EXPECT_EQ(error.localizedDescription(), "the device makes no command buffer to wait for");
    }
    used->cleanup();
    EXPECT_FALSE(readPixels(*used, &error));
    EXPECT_EQ(error.localizedDescription(), "the texture has no image");
    EXPECT_FALSE(writePixels(*used, bytes, 16, nullptr));
    EXPECT_THAT(takeMessages(), testing::IsEmpty());
}

}  // namespace
}  // namespace ondrix
