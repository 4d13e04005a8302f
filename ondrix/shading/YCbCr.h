#pragma once

#include <cmath>

#include <ondrix/platform/simd/simd.h>
#include <ondrix/shading/Texture.h>

namespace ondrix::shading {

/// Fixed-point weights of a conversion from 8-bit YCbCr to RGB: for each colour
/// (luma * byte of Y + blue * byte of Cb + red * byte of Cr + bias) >> 13, limited to 0...255. At most one level from
/// exact arithmetic for every input.
struct YCbCrWeights {
    static constexpr int fractionBits = 13;

    std::int32_t luma;  ///< magnitude below 4 in the constants it is made from
    std::int32_t
        chroma[3];  ///< red, green, blue: weight of Cb in the low half, of Cr in the high half; magnitudes below 4
    std::int32_t bias[3];

    /// `matrix` maps (Y, Cb, Cr) in 0...1 to RGB, the offsets of Cb and Cr are taken off before that, and `lumaOffset`
    /// is added to the scaled luma. The three components of column 0 are the same.
    YCbCrWeights(const simd_float3x3& matrix, float blueOffset, float redOffset, float lumaOffset) {
        constexpr double one = 1 << fractionBits;
        const auto fixed = [](double weight) {
            return static_cast<std::int32_t>(std::lround(std::fmin(std::fmax(weight * one, -32768.0), 32767.0)));
        };
        const auto& [y, cb, cr] = matrix.columns;
        const double blue[] = {cb.x, cb.y, cb.z}, red[] = {cr.x, cr.y, cr.z};
        luma = fixed(y.x);
        for (int i = 0; i < 3; i++) {
            chroma[i] =
                static_cast<std::int32_t>((fixed(blue[i]) & 0xffff) | static_cast<std::uint32_t>(fixed(red[i])) << 16);
            const double offset = lumaOffset - blue[i] * blueOffset - red[i] * redOffset;
            bias[i] = static_cast<std::int32_t>(std::lround(offset * 255.0 * one + 0.5 * one));
        }
    }
};

/// Bytes of luma at a run, limited to the texture.
ONDRIX_INLINE Int lumaBytes(const TextureView& view, const Position& p) {
    if (static_cast<Format>(view.format) != Format::r8) {
        return clamp(unorm8(reading::run(view, p).x), 0, 255);
    }
    if (p.wholePackIn(view.width, view.height)) {
        return Int(lanes::loadBytes(view.bytes + p.y * view.bytesPerRow + p.x));
    }
    reading::Run run;
    reading::clippedRun(view, 1, p.x, p.y, p.count, run);
    return Int(lanes::loadBytes(run.bytes));
}

/// Bytes of Cb (low half) and Cr (high half) at a run, from a texture of half the sides.
ONDRIX_INLINE Int chromaBytes(const TextureView& view, const Position& p) {
    const int x = p.x >> 1, y = p.y >> 1;
    if (static_cast<Format>(view.format) != Format::rg8 || (!p.interior && (p.x & 1) != 0)) {
        const Texel texel = reading::pixels(view, {(Int(lanes::iota()) + p.x) >> 1, Int(y)});
        return clamp(unorm8(texel.x), 0, 255) | clamp(unorm8(texel.y), 0, 255) << 16;
    }
    if (p.interior || (y >= 0 && y < view.height && x >= 0 && p.x + lanes::count <= 2 * view.width)) {
        return Int(lanes::loadBytePairsTwice(view.bytes + y * view.bytesPerRow + 2 * x));
    }
    reading::Run run;
    reading::clippedRun(view, 2, x, y, (p.count + 1) / 2, run);
    return Int(lanes::loadBytePairsTwice(run.bytes));
}

/// The opaque colours of a run of a two-plane 4:2:0 picture. Each pixel takes the chroma of its two-by-two block as it
/// is.
template <class Luma, class Chroma>
ONDRIX_INLINE Texel convertYCbCr(const Luma& luma, const Chroma& chroma, const Position& p,
                                 const YCbCrWeights& weights) {
    const lanes::Ints y = lumaBytes(luma.view, p).v, c = chromaBytes(chroma.view, p).v;
    const lanes::Ints scaled = lanes::multiplyPairs(y, lanes::broadcast(weights.luma));
    const auto colour = [&](int i) __attribute__((always_inline)) {
        return (scaled + lanes::multiplyPairs(c, lanes::broadcast(weights.chroma[i])) + weights.bias[i]) >>
               YCbCrWeights::fractionBits;
    };
    return texelFromBytes(Int(lanes::packBytes(colour(2), colour(1), colour(0), lanes::broadcast(255))), Format::bgra8);
}

}  // namespace ondrix::shading
