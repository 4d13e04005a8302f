#pragma once

#include <cstdint>

namespace ondrix {

enum class MTLSamplerMinMagFilter : std::uint64_t { nearest = 0, linear = 1 };
enum class MTLSamplerAddressMode : std::uint64_t {
    clampToEdge = 0,
    mirrorClampToEdge = 1,
    repeat = 2,
    mirrorRepeat = 3,
    clampToZero = 4,
    clampToBorderColor = 5,
};
enum class MTLSamplerBorderColor : std::uint64_t { transparentBlack = 0, opaqueBlack = 1, opaqueWhite = 2 };

/// How a texture is filtered and addressed; coordinates are normalised to 0...1 over the texture, s to the right and t
/// downwards.
struct MTLSamplerDescriptor {
    MTLSamplerMinMagFilter minFilter = MTLSamplerMinMagFilter::nearest;
    MTLSamplerMinMagFilter magFilter = MTLSamplerMinMagFilter::nearest;
    MTLSamplerAddressMode sAddressMode = MTLSamplerAddressMode::clampToEdge;
    MTLSamplerAddressMode tAddressMode = MTLSamplerAddressMode::clampToEdge;
    MTLSamplerBorderColor borderColor = MTLSamplerBorderColor::transparentBlack;
    /// 1 to 16. Textures have one mip level, so a value above 1 changes nothing.
    std::uint64_t maxAnisotropy = 1;
};

/// A sampler made from a descriptor; immutable, shared by reference.
class MTLSamplerState {
public:
    virtual ~MTLSamplerState() = default;
};

}  // namespace ondrix
