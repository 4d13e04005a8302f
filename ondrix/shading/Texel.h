#pragma once

#include <ondrix/shading/Encoding.h>
#include <ondrix/shading/Module.h>
#include <ondrix/shading/Position.h>
#include <ondrix/shading/Vectors.h>

namespace ondrix::shading {

/// A colour as it came out of a texture. Computing with it gives a plain `Float4`; handed on unchanged it is stored
/// from the exact value it had before it became floats, so copies are copies.
struct Texel : Float4 {
    Int exact{};                    ///< the pixel's four bytes, rounded, in the memory order of `exactFormat`
    std::uint32_t exactFormat = 0;  ///< a format of four bytes, or 0 when there is no exact value
};

/// What `Texture::sample` gives at a varying. A fragment function of one texture, one sampler and one varying that
/// returns a `Sampled` hands on the picture unchanged, so rows whose pixels are texels are copied as bytes.
class Sampled : public Texel {
    template <int, auto...>
    friend struct Texture;
    ONDRIX_INLINE explicit Sampled(const Texel& texel) : Texel(texel) {}
};

/// The pixels of a `Stretch`, four bytes each in the memory order of `format`.
struct StretchBytes {
    Int packs[Stretch::packs];
    Format format;
};

inline constexpr float unormScale = 1.0f / 255.0f;
inline constexpr float unorm16Scale = 1.0f / 65535.0f;

/// Four bytes a lane in the memory order of `format`, one of the four-byte formats.
ONDRIX_INLINE Texel texelFromBytes(Int bytes, Format format) {
    const lanes::Ints v = bytes.v;
    const Int first(lanes::byteOf<0>(v)), second(lanes::byteOf<1>(v)), third(lanes::byteOf<2>(v)),
        fourth(lanes::byteOf<3>(v));
    const auto colour = [format](Int byte) __attribute__((always_inline)) {
        if (isSRGB(format)) {
            return Float(reinterpret_cast<lanes::Floats>(lanes::gather(srgbTables.decoded, byte.v)));
        }
        return Float(byte) * unormScale;
    };
    const Float alpha = Float(fourth) * unormScale;
    const Float4 value = isBlueFirst(format) ? Float4{colour(third), colour(second), colour(first), alpha}
                                             : Float4{colour(first), colour(second), colour(third), alpha};
    return {value, bytes, static_cast<std::uint32_t>(format)};
}

/// Swaps the first and the third byte of each lane.
ONDRIX_INLINE Int swapRedAndBlue(Int bytes) {
    return (bytes & Int(0xff00ff00u)) | ((bytes & Int(0xff)) << 16) | Int(lanes::byteOf<2>(bytes.v));
}

/// A blend of 8-bit texels, each sum exactly weights times texels with weights that add up to 65536; `first` to
/// `fourth` in the memory order of `format`.
ONDRIX_INLINE Texel texelFromSums(Int first, Int second, Int third, Int fourth, Format format) {
    constexpr float scale = 1.0f / (65536.0f * 255.0f);
    const Int half(32768), middle(0xff0000);
    const Int bytes = Int(lanes::shiftRightLogical<16>((first + half).v)) |
                      Int(lanes::shiftRightLogical<8>(((second + half) & middle).v)) | ((third + half) & middle) |
                      (((fourth + half) & middle) << 8);
    const Float a = Float(first) * scale, b = Float(second) * scale, c = Float(third) * scale,
                d = Float(fourth) * scale;
    const Float4 value = isBlueFirst(format) ? Float4{c, b, a, d} : Float4{a, b, c, d};
    return {value, bytes, isFourPlainBytes(format) ? static_cast<std::uint32_t>(format) : 0u};
}

/// What `encodeUnorm8` gives, before the limit to 0...255 that packing applies.
ONDRIX_INLINE Int unorm8(Float value) {
    return Int(lanes::truncate(min(Float(255.5f), value * 255.0f + 0.5f).v));
}

/// What `encodeUnorm16` gives, before the limit to 0...65535.
ONDRIX_INLINE Int unorm16(Float value) {
    return Int(lanes::truncate(min(Float(65535.5f), value * 65535.0f + 0.5f).v));
}

/// What `encodeSRGB8` gives: the number of thresholds that are reached, by bisection.
ONDRIX_INLINE Int srgb8(Float value) {
    Int reached(0);
    for (int stride = 128; stride > 0; stride /= 2) {
        const Int next = reached + stride;
        const Float threshold(reinterpret_cast<lanes::Floats>(lanes::gather(srgbTables.thresholds, (next - 1).v)));
        reached = select(value >= threshold, next, reached);
    }
    return reached;
}

/// The bytes of a colour in a four-byte format.
ONDRIX_INLINE Int bytesFromColour(const Float4& colour, Format format) {
    const auto byte = [format](Float value) __attribute__((always_inline)) {
        return isSRGB(format) ? srgb8(value) : unorm8(value);
    };
    const Int red = byte(colour.x), green = byte(colour.y), blue = byte(colour.z), alpha = unorm8(colour.w);
    return Int(isBlueFirst(format) ? lanes::packBytes(blue.v, green.v, red.v, alpha.v)
                                   : lanes::packBytes(red.v, green.v, blue.v, alpha.v));
}

}  // namespace ondrix::shading
