#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ondrix/platform/corevideo/PixelBufferLock.h>
#include <ondrix/resources/Pixels.h>
#include <ondrix/resources/Texture.h>

namespace ondrix::test {

/// Four bytes a pixel, blue first, rows without gaps.
struct Picture {
    Picture(Int w, Int h) : width(w), height(h), bytes(static_cast<std::size_t>(w * h * 4)) {}

    static Picture noise(Int width, Int height, unsigned seed) {
        Picture picture(width, height);
        std::mt19937 random(seed);
        for (auto& byte : picture.bytes) byte = static_cast<std::uint8_t>(random());
        return picture;
    }
    [[nodiscard]] int at(Int x, Int y, int component) const {
        return bytes[static_cast<std::size_t>((y * width + x) * 4 + component)];
    }
    friend bool operator==(const Picture&, const Picture&) = default;

    Int width, height;
    std::vector<std::uint8_t> bytes;
};

inline Picture pictureOf(const MTLTexture& texture) {
    Picture picture(static_cast<Int>(texture.width()), static_cast<Int>(texture.height()));
    texture.getBytes(picture.bytes.data(), texture.width() * 4,
                     MTLRegionMake2D(0, 0, texture.width(), texture.height()), 0);
    return picture;
}

/// Of a format with four bytes a pixel.
inline Picture pictureOf(const Texture& texture) {
    const auto pixels = readPixels(texture, nullptr);
    Picture picture(pixels->width, pixels->height);
    std::memcpy(picture.bytes.data(), pixels->bytes.data(), picture.bytes.size());
    return picture;
}

inline std::shared_ptr<Texture> textureOf(const std::shared_ptr<Device>& device, const Picture& picture,
                                          MTLPixelFormat pixelFormat = MTLPixelFormat::bgra8Unorm) {
    auto texture = device->makeTexture(picture.width, picture.height, pixelFormat, MTLTextureUsage::unknown);
    EXPECT_TRUE(writePixels(*texture, picture.bytes.data(), picture.width * 4, nullptr));
    return texture;
}

/// Calls `function` with each element of the plane and its position: `function(std::uint8_t* element, x, y)`.
template <class Function>
void forEachElement(CVPixelBuffer& buffer, Int plane, Int bytesPerElement, Function&& function) {
    const PixelBufferLock lock(buffer);
    for (Int y = 0; y < lock.height(plane); ++y) {
        for (Int x = 0; x < lock.width(plane); ++x) function(lock.row(y, plane) + x * bytesPerElement, x, y);
    }
}

}  // namespace ondrix::test
