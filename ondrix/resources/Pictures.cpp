#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>

#include <ondrix/core/Failure.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>
#include <ondrix/platform/metalkit/PictureFile.h>
#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/resources/Pictures.h>
#include <ondrix/resources/Pixels.h>
#include <ondrix/resources/Texture.h>

namespace ondrix {

namespace {

/// Of a half-precision number's bits.
float floatOfHalf(std::uint16_t half) {
    const std::uint32_t sign = (half & 0x8000u) << 16;
    const std::uint32_t magnitude = half & 0x7fffu;
    if (magnitude >= 0x7c00u) return std::bit_cast<float>(sign | 0x7f800000u | (magnitude & 0x3ffu) << 13);
    if (magnitude < 0x400u) return std::copysign(static_cast<float>(magnitude) * 0x1p-24f, half & 0x8000u ? -1.f : 1.f);
    return std::bit_cast<float>(sign | ((magnitude << 13) + 0x38000000u));
}

/// Not-a-number is 0.
std::uint8_t byteOf(float value) {
    return value > 0 ? static_cast<std::uint8_t>(std::lround(std::min(value, 1.0f) * 255)) : std::uint8_t{0};
}

std::uint8_t byteOf(const std::byte* component, MTLComponentType type) {
    if (type == MTLComponentType::unorm8) return static_cast<std::uint8_t>(*component);
    if (type == MTLComponentType::float16 || type == MTLComponentType::unorm16) {
        std::uint16_t word;
        std::memcpy(&word, component, sizeof word);
        return byteOf(type == MTLComponentType::float16 ? floatOfHalf(word) : static_cast<float>(word) / 65535);
    }
    float value;
    std::memcpy(&value, component, sizeof value);
    return byteOf(value);
}

/// Four bytes a pixel, rows without gaps.
std::vector<std::uint8_t> rgbaOf(const Pixels& pixels, const MTLPixelFormatInfo& info) {
    std::vector<std::uint8_t> rgba;
    rgba.reserve(static_cast<std::size_t>(4 * pixels.width * pixels.height));
    const auto size = static_cast<std::size_t>(info.bytesPerPixel / info.components);
    for (const std::byte* pixel = pixels.bytes.data(); pixel != pixels.bytes.data() + pixels.bytes.size();
         pixel += info.bytesPerPixel) {
        const std::uint8_t first = byteOf(pixel, info.componentType);
        std::uint8_t values[4] = {first, first, first, 255};
        if (info.components == 2) values[2] = 0;
        for (std::size_t i = 1; i < static_cast<std::size_t>(info.components); ++i) {
            values[i] = byteOf(pixel + i * size, info.componentType);
        }
        rgba.insert(rgba.end(), values, values + 4);
    }
    return rgba;
}

}  // namespace

bool savePicture(const Texture& texture, const std::filesystem::path& file, NSError* error) try {
    const auto pixels = readPixels(texture, error);
    if (!pixels) return false;
    const auto info = pixelFormatInfo(pixels->pixelFormat);
    if (info->components == 4 && info->componentType == MTLComponentType::unorm8) {
        return PictureFile::write(file, pixels->width, pixels->height, pixels->pixelFormat, pixels->bytes.data(),
                                  pixels->bytesPerRow, error);
    }
    const auto rgba = rgbaOf(*pixels, *info);
    return PictureFile::write(file, pixels->width, pixels->height, MTLPixelFormat::rgba8Unorm, rgba.data(),
                              4 * pixels->width, error);
} catch (const std::bad_alloc&) {
    if (error != nullptr) *error = NSError("out of memory");
    return false;
}

std::shared_ptr<Texture> loadPicture(const std::shared_ptr<Device>& device, const void* bytes, Int length, bool sRGB,
                                     NSError* error) {
    assert(device != nullptr && bytes != nullptr && length >= 0);
    return os::orAbsent(error, [&]() -> std::shared_ptr<Texture> {
        auto mtlTexture =
            MTKTextureLoader(device->mtlDevice())
                .newTexture(bytes, static_cast<std::uint64_t>(length), {{MTKTextureLoader::Option::SRGB, sRGB}}, error);
        if (mtlTexture == nullptr) return nullptr;
        return Failure::toldTo(error, [&] { return device->makeTexture(std::move(mtlTexture)); });
    });
}

}  // namespace ondrix
