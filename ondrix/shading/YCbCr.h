#pragma once

#include <cmath>
#include <cstdlib>
#include <cstring>

#include <ondrix/platform/simd/simd.h>
#include <ondrix/shading/Texture.h>

namespace ondrix::shading {

/// Weights of a conversion from 8-bit YCbCr to RGB by any matrix and offsets; at most one level from exact arithmetic
/// for every input.
///
/// Usual matrices take fixed-point arithmetic in 16 bits: one weight of luma for all three colours, 0 to 2, and for
/// each colour less than 4 for the magnitudes of both chroma weights together. Levels are counted in 1/64, and level 0
/// is 256 * 64, so sums that stop at the limits of 16 bits can't exceed level 255, and only the limit to level 0 is
/// left to apply. For each colour, with products rounded to nearest except that of luma:
///
///     (257 * Y * luma >> 16) + (((Cb - 128) * 256 * blue >> 15) + ((Cr - 128) * 256 * red >> 15) + bias)
///
/// All other matrices take double precision, which is slower.
struct YCbCrWeights {
    static constexpr int fractionBits = 6;
    static constexpr std::int32_t black = 256 << fractionBits;

    // Pairs of 16-bit numbers. In `chroma`, Cb's weight is in the low half and Cr's in the high one; the halves of
    // `luma` and `bias` are equal.
    std::int32_t luma = 0;
    std::int32_t chroma[3];  ///< red, green, blue
    std::int32_t bias[3];
    bool isFixed = true;  ///< whether the matrix is one for fixed-point arithmetic
    bool separate;        ///< fixed-point, red takes nothing from Cb and blue nothing from Cr
    /// For red, green, blue: the weights of Y, Cb and Cr as levels of 0 to 255, and what is added.
    double exact[3][4];

    /// `matrix` maps (Y, Cb, Cr) in 0...1 to RGB, the offsets of Cb and Cr are taken off before that, and `lumaOffset`
    /// is added to each colour after it.
    YCbCrWeights(const simd_float3x3& matrix, float blueOffset, float redOffset, float lumaOffset) {
        const auto fixed = [&](double value, double from, double to) {
            const bool fits = value >= from && value <= to;
            isFixed = isFixed && fits;
            return fits ? static_cast<std::int32_t>(std::lround(value)) : 0;
        };
        constexpr double one = 1 << fractionBits;
        const auto& [y, cb, cr] = matrix.columns;
        const double weights[3][3] = {{y.x, cb.x, cr.x}, {y.y, cb.y, cr.y}, {y.z, cb.z, cr.z}};
        for (int i = 0; i < 3; i++) {
            const auto& [ofLuma, blue, red] = weights[i];
            const double offset = 255.0 * lumaOffset - 255.0 * blueOffset * blue - 255.0 * redOffset * red;
            const double exactly[] = {ofLuma, blue, red, offset + 0.5};  // half a level to round the result
            std::memcpy(exact[i], exactly, sizeof exactly);

            const std::int32_t scale = fixed(ofLuma * one * 65536 / 257, 0, 32767) * 0x10001;
            isFixed = isFixed && (i == 0 || scale == luma);
            luma = scale;
            const auto weight = [&](double value) { return fixed(value * one * 128, -32767, 32767); };
            const std::int32_t ofBlue = weight(blue), ofRed = weight(red);
            isFixed = isFixed && std::abs(ofBlue) + std::abs(ofRed) <= 32767;
            chroma[i] = pair(ofBlue, ofRed);
            const double centre = blue * (128 - 255.0 * blueOffset) + red * (128 - 255.0 * redOffset);
            // Half a level to round the result, and half a step for luma, which is rounded down.
            bias[i] = fixed(black + (255.0 * lumaOffset + centre + 0.5) * one + 0.5, 0, 32767) * 0x10001;
        }
        separate = isFixed && (chroma[0] & 0xffff) == 0 && (chroma[2] & ~0xffff) == 0;
    }

    static ONDRIX_INLINE std::int32_t pair(std::int32_t low, std::int32_t high) {
        return static_cast<std::int32_t>((low & 0xffff) | static_cast<std::uint32_t>(high) << 16);
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
    if (static_cast<Format>(view.format) != Format::rg8 || (!p.isInterior() && (p.x & 1) != 0)) {
        const Texel texel = reading::pixels(view, {(Int(lanes::iota()) + p.x) >> 1, Int(y)});
        return clamp(unorm8(texel.x), 0, 255) | clamp(unorm8(texel.y), 0, 255) << 16;
    }
    if (p.isInterior() || (y >= 0 && y < view.height && x >= 0 && p.x <= 2 * view.width - lanes::count)) {
        return Int(lanes::loadBytePairsTwice(view.bytes + y * view.bytesPerRow + 2 * x));
    }
    reading::Run run;
    reading::clippedRun(view, 2, x, y, (p.count + 1) / 2, run);
    return Int(lanes::loadBytePairsTwice(run.bytes));
}

namespace detail {

/// In both halves, what the chroma adds to a colour; `centred` is 256 times the chroma less 128.
ONDRIX_INLINE lanes::Ints chromaSum(lanes::Ints centred, std::int32_t weights, std::int32_t bias) {
    const lanes::Ints products = lanes::multiplyRounded(centred, lanes::broadcast(weights));
    return lanes::addSaturating(lanes::addSaturating(products, lanes::swapHalves(products)), lanes::broadcast(bias));
}

ONDRIX_INLINE lanes::Ints colourLevels(lanes::Ints scaledLuma, lanes::Ints chroma) {
    const lanes::Ints sum = lanes::addSaturating(scaledLuma, chroma);
    return lanes::largerHalves(sum, lanes::broadcast(YCbCrWeights::black * 0x10001));
}

/// The opaque bgra8 pixels of a pack in double precision. Bytes of luma; Cb in the low and Cr in the high half.
[[gnu::noinline]] inline lanes::Ints exactColours(lanes::Ints luma, lanes::Ints chroma, const YCbCrWeights& k) {
    const auto number = [](lanes::Ints v) { return __builtin_convertvector(v, lanes::Doubles); };
    const lanes::Doubles y = number(luma), cb = number(chroma & 0xffff),
                         cr = number(lanes::shiftRightLogical<16>(chroma));
    const auto levels = [&](const double(&weights)[4]) {
        lanes::Doubles level = y * weights[0] + cb * weights[1] + cr * weights[2] + weights[3];
        level = level > 0.0 ? level : lanes::Doubles{};  // where it is no number, too
        level = level < 255.0 ? level : lanes::Doubles{} + 255.0;
        return __builtin_convertvector(level, lanes::Ints);
    };
    return levels(k.exact[2]) | levels(k.exact[1]) << 8 | levels(k.exact[0]) << 16 |
           static_cast<std::int32_t>(0xff000000);
}

#if !defined(ONDRIX_PLAIN)
/// Two of a stretch's four packs, with 16 bits for each colour of a pixel. `luma` and `chroma` are bytes in the order
/// of `loadDealt`, the chroma less 128. Only for weights that are `separate`.
template <int half>
ONDRIX_INLINE void convertHalf(lanes::Ints luma, lanes::Ints chroma, const YCbCrWeights& k, Int* packs) {
    using namespace lanes;
    const Ints scaled = multiplyHigh(interleaveBytes<half>(luma, luma), broadcast(k.luma));
    const Ints centred = interleaveBytes<half>(Ints{}, chroma);
    const Ints blueAndRed =
        addSaturating(multiplyRounded(centred, broadcast(YCbCrWeights::pair(k.chroma[2], k.chroma[0] >> 16))),
                      broadcast(YCbCrWeights::pair(k.bias[2], k.bias[0])));
    const Ints blue = colourLevels(scaled, halfTwice<0>(blueAndRed));
    const Ints red = colourLevels(scaled, halfTwice<1>(blueAndRed));
    const Ints green = colourLevels(scaled, chromaSum(centred, k.chroma[1], k.bias[1]));
    const Ints blueGreen = (shiftRightLogical<6>(blue) & 0xff00ff) | (green << 2 & ~0xff00ff);
    const Ints redAlpha = shiftRightLogical<6>(red) | ~0xff00ff;
    packs[2 * half] = Int(interleaveHalves<0>(blueGreen, redAlpha));
    packs[2 * half + 1] = Int(interleaveHalves<1>(blueGreen, redAlpha));
}
#endif

}  // namespace detail

/// The opaque colours of a run of a two-plane 4:2:0 picture. Each pixel takes the chroma of its two-by-two block as it
/// is.
template <class Luma, class Chroma>
ONDRIX_INLINE Texel convertYCbCr(const Luma& luma, const Chroma& chroma, const Position& p,
                                 const YCbCrWeights& weights) {
    ONDRIX_CHECK(checks::read(luma.report, Luma::slot, luma.view, p.x, p.y, Luma::reachNumber);
                 checks::read(chroma.report, Chroma::slot, chroma.view, p.x >> 1, p.y >> 1, Chroma::reachNumber);)
    const lanes::Ints y = lumaBytes(luma.view, p).v, blueAndRed = chromaBytes(chroma.view, p).v;
    if (__builtin_expect(!weights.isFixed, 0)) {
        return texelFromBytes(Int(detail::exactColours(y, blueAndRed, weights)), Format::bgra8);
    }
    const lanes::Ints twice = y * 0x101;
    const lanes::Ints scaled = lanes::multiplyHigh(twice << 16 | twice, lanes::broadcast(weights.luma));
    const lanes::Ints centred = (blueAndRed << 8) ^ static_cast<std::int32_t>(0x80008000);
    const auto levels = [&](int i) __attribute__((always_inline)) {
        return detail::colourLevels(scaled, detail::chromaSum(centred, weights.chroma[i], weights.bias[i]));
    };
    const lanes::Ints bytes = (levels(2) >> 6 & 0xff) | (levels(1) << 2 & 0xff00) | (levels(0) >> 6 & 0xff0000);
    return texelFromBytes(Int(bytes | static_cast<std::int32_t>(0xff000000)), Format::bgra8);
}

/// The same for several packs, in half the time if all their pixels are inside and the weights are `separate`.
template <class Luma, class Chroma>
ONDRIX_INLINE StretchBytes convertYCbCr(const Luma& luma, const Chroma& chroma, const Stretch& p,
                                        const YCbCrWeights& weights) {
    StretchBytes colours{{}, Format::bgra8};
#if !defined(ONDRIX_PLAIN)
    if (p.isInterior && weights.separate) {
        const lanes::Ints y = lanes::loadDealt(luma.view.bytes + p.y * luma.view.bytesPerRow + p.x);
        const lanes::Ints c = lanes::loadDealt(chroma.view.bytes + (p.y >> 1) * chroma.view.bytesPerRow + p.x) ^
                              static_cast<std::int32_t>(0x80808080);
        detail::convertHalf<0>(y, c, weights, colours.packs);
        detail::convertHalf<1>(y, c, weights, colours.packs);
        return colours;
    }
#endif
    for (int i = 0; i < Stretch::packs; i++) {
        colours.packs[i] = convertYCbCr(luma, chroma, p.pack(i), weights).exact;
    }
    return colours;
}

}  // namespace ondrix::shading
