#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
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

/// A texture whose pixels a test can put in and take out.
class PictureTexture : public Texture {
public:
    static std::shared_ptr<PictureTexture> create(const std::shared_ptr<Device>& device, const Picture& picture,
                                                  MTLPixelFormat pixelFormat = MTLPixelFormat::bgra8Unorm) {
        auto texture = device->mtlDevice()->makeTexture({pixelFormat, static_cast<std::uint64_t>(picture.width),
                                                         static_cast<std::uint64_t>(picture.height), false,
                                                         MTLTextureUsage::unknown});
        texture->replace(region(*texture), 0, picture.bytes.data(), texture->width() * 4);
        return std::shared_ptr<PictureTexture>(new PictureTexture(device, std::move(texture)));
    }
    [[nodiscard]] Picture picture() const { return read(*mtlTexture()); }
    static Picture read(const MTLTexture& texture) {
        Picture picture(static_cast<Int>(texture.width()), static_cast<Int>(texture.height()));
        texture.getBytes(picture.bytes.data(), texture.width() * 4, region(texture), 0);
        return picture;
    }

private:
    using Texture::Texture;
    static MTLRegion region(const MTLTexture& texture) {
        return MTLRegionMake2D(0, 0, texture.width(), texture.height());
    }
};

/// Calls `function` with each element of the plane and its position: `function(std::uint8_t* element, x, y)`.
template <class Function>
void forEachElement(CVPixelBuffer& buffer, Int plane, Int bytesPerElement, Function&& function) {
    CVPixelBufferLockBaseAddress(buffer, 0);
    auto* row = static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(buffer, plane));
    for (Int y = 0; y < CVPixelBufferGetHeightOfPlane(buffer, plane); ++y) {
        for (Int x = 0; x < CVPixelBufferGetWidthOfPlane(buffer, plane); ++x) function(row + x * bytesPerElement, x, y);
        row += CVPixelBufferGetBytesPerRowOfPlane(buffer, plane);
    }
    CVPixelBufferUnlockBaseAddress(buffer, 0);
}

}  // namespace ondrix::test
