#pragma once

#include <cstdint>

#include <ondrix/platform/metal/MTLPixelFormat.h>
#include <ondrix/platform/metal/MTLTypes.h>

namespace ondrix {

/// Option set: what a texture may be used for. 0 (unknown) allows everything.
enum class MTLTextureUsage : std::uint64_t {
    unknown = 0,
    shaderRead = 1,
    shaderWrite = 2,
    renderTarget = 4,
    pixelFormatView = 16,
};

constexpr MTLTextureUsage operator|(MTLTextureUsage a, MTLTextureUsage b) {
    return static_cast<MTLTextureUsage>(static_cast<std::uint64_t>(a) | static_cast<std::uint64_t>(b));
}

/// True when `set` holds every bit of `bits`.
constexpr bool contains(MTLTextureUsage set, MTLTextureUsage bits) {
    return (static_cast<std::uint64_t>(set) & static_cast<std::uint64_t>(bits)) == static_cast<std::uint64_t>(bits);
}

/// A request for a texture: two-dimensional, one mip level, one sample.
struct MTLTextureDescriptor {
    MTLPixelFormat pixelFormat = MTLPixelFormat::rgba8Unorm;
    std::uint64_t width = 1;   ///< pixels, 1 to 16384
    std::uint64_t height = 1;  ///< pixels, 1 to 16384
    bool mipmapped = false;    ///< accepted; there is always one level
    MTLTextureUsage usage = MTLTextureUsage::shaderRead;

    static MTLTextureDescriptor texture2DDescriptor(MTLPixelFormat pixelFormat, std::uint64_t width,
                                                    std::uint64_t height, bool mipmapped) {
        return {pixelFormat, width, height, mipmapped, MTLTextureUsage::shaderRead};
    }
};

/// A two-dimensional image in device memory, shared by reference. Its description never changes; nothing orders its
/// content between the CPU and unfinished GPU work but waiting for the command buffer.
class MTLTexture {
public:
    virtual ~MTLTexture() = default;

    [[nodiscard]] virtual std::uint64_t width() const = 0;   ///< pixels
    [[nodiscard]] virtual std::uint64_t height() const = 0;  ///< pixels
    [[nodiscard]] virtual MTLPixelFormat pixelFormat() const = 0;
    [[nodiscard]] virtual MTLTextureUsage usage() const = 0;

    /// Copies `region` from memory in the texture's own format. `region` must lie inside the texture.
    virtual void replace(const MTLRegion& region, std::uint64_t mipmapLevel, const void* withBytes,
                         std::uint64_t bytesPerRow) = 0;
    /// Copies `fromRegion` to memory in the texture's own format. The region must lie inside the texture.
    virtual void getBytes(void* bytes, std::uint64_t bytesPerRow, const MTLRegion& fromRegion,
                          std::uint64_t mipmapLevel) const = 0;
};

}  // namespace ondrix
