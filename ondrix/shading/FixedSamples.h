#pragma once

#include <cmath>

#include <ondrix/shading/FixedColours.h>

/// Pictures of four plain bytes a pixel to frames of 8 bits, in whole numbers, so that all levels agree.
namespace ondrix::shading {

/// How a sample is made of the bytes of a colour: at most 0.52 from exact arithmetic.
struct SampleWeights {
    static constexpr int fractionBits = 15;
    std::int32_t red = 0, green = 0, blue = 0;  ///< a byte, as 1 / 2^15 of a sample
    std::int32_t bias = 0;                      ///< what is added, and a half to round

    /// Weights of red, green and blue in 0...1, and what is added.
    explicit SampleWeights(const float (&weights)[4]) {
        const auto fixed = [](double value) {
            return static_cast<std::int32_t>(std::lround(std::fmin(std::fmax(value, -32767), 32767)));
        };
        constexpr double one = 1 << fractionBits;
        red = fixed(double{weights[0]} * one / 255);
        green = fixed(double{weights[1]} * one / 255);
        blue = fixed(double{weights[2]} * one / 255);
        bias = static_cast<std::int32_t>(std::lround((double{weights[3]} + 0.5) * one));
    }
};

namespace detail {

/// Sums of the bytes of texels, in 16 bits: the first in the low and the third in the high half; the second likewise.
struct ByteSums {
    Int outer{0}, middle{0};

    ONDRIX_INLINE void add(Int texels, int times = 1) {
        outer += (texels & 0xff00ff) * times;
        middle += (Int(lanes::shiftRightLogical<8>(texels.v)) & 0xff) * times;
    }
};

/// Samples of sums of 2^`times` texels; at most 255.
template <int times>
ONDRIX_INLINE Int samplesOf(const ByteSums& sums, const SampleWeights& k, Format format) {
    const std::int32_t outer =
        isBlueFirst(format) ? YCbCrWeights::pair(k.blue, k.red) : YCbCrWeights::pair(k.red, k.blue);
    const Int sum = Int(lanes::multiplyPairs(sums.outer.v, lanes::broadcast(outer))) +
                    Int(lanes::multiplyPairs(sums.middle.v, lanes::broadcast(k.green & 0xffff)));
    return min((sum + (k.bias << times)) >> (SampleWeights::fractionBits + times), 255);
}

ONDRIX_INLINE Int lumaOf(Int texels, const SampleWeights& k, Format format) {
    ByteSums sums;
    sums.add(texels);
    return samplesOf<0>(sums, k, format);
}

/// How the texels around samples of chroma are summed up.
struct ChromaCells {
    bool halvesWidth, halvesHeight, isCentred;
};

/// Eight times the mean around samples of chroma, texel by texel.
template <class Picture>
ONDRIX_INLINE ByteSums generalCells(const Picture& picture, Int2 at, const ChromaCells& cells) {
    ByteSums sums;
    const auto add = [&](Int x, Int y, int times) __attribute__((always_inline)) {
        const Int2 place{clamp(x, 0, picture.width() - 1), clamp(y, 0, picture.height() - 1)};
        sums.add(picture.read(place).exact, times);
    };
    const int rows = cells.halvesHeight ? 2 : 1;
    for (int row = 0; row < rows; row++) {
        const Int y = at.y * rows + row;
        if (!cells.halvesWidth) {
            add(at.x, y, 8 / rows);
            continue;
        }
        add(at.x * 2, y, 4 / rows);
        add(at.x * 2 + 1, y, (cells.isCentred ? 4 : 2) / rows);
        if (!cells.isCentred) add(at.x * 2 - 1, y, 2 / rows);
    }
    return sums;
}

#if !defined(ONDRIX_PLAIN)
/// The same for whole packs of which two columns share a sample.
ONDRIX_INLINE ByteSums wholeCells(const TextureView& picture, int x, int y, const ChromaCells& cells) {
    constexpr int texels = 2 * lanes::count + 1;
    const int first = cells.halvesHeight ? 2 * y : y, second = cells.halvesHeight ? 2 * y + 1 : y;
    const auto line = [&](int row) __attribute__((always_inline)) {
        return picture.bytes + (row < picture.height ? row : picture.height - 1) * picture.bytesPerRow;
    };
    const auto sum = [&](const std::uint8_t* upper, const std::uint8_t* lower) __attribute__((always_inline)) {
        ByteSums left, right, before;
        for (const std::uint8_t* row : {upper, lower}) {
            lanes::Ints even, odd, unused;
            lanes::loadEvenAndOdd(row, even, odd);
            left.add(Int(even));
            right.add(Int(odd));
            if (cells.isCentred) continue;
            lanes::loadEvenAndOdd(row - 4, odd, unused);
            before.add(Int(odd));
        }
        if (cells.isCentred) return ByteSums{(left.outer + right.outer) << 1, (left.middle + right.middle) << 1};
        return ByteSums{(left.outer << 1) + right.outer + before.outer,
                        (left.middle << 1) + right.middle + before.middle};
    };
    if (x > 0 && 2 * (x + lanes::count) <= picture.width) {
        const std::int64_t at = 8 * std::int64_t{x};
        return sum(line(first) + at, line(second) + at);
    }
    std::uint8_t edge[2][4 * texels];
    copyClamped(edge[0], line(first), 4, picture.width, 2 * x - 1, texels);
    copyClamped(edge[1], line(second), 4, picture.width, 2 * x - 1, texels);
    return sum(edge[0] + 4, edge[1] + 4);
}
#endif

/// Numbers of 8 bits, of which the target has a component each.
template <class Target>
ONDRIX_INLINE void writeBytes(const Target& target, const Position& p, Int first, Int second) {
#if !defined(ONDRIX_PLAIN)
    if (p.count == lanes::count && p.wholePackIn(target.width(), target.height())) {
        std::uint8_t* const row = target.view.bytes + p.y * target.view.bytesPerRow;
        if (static_cast<Format>(target.view.format) == Format::r8) return lanes::storeBytes(row + p.x, first.v);
        return lanes::storeShorts(row + 2 * std::int64_t{p.x}, (first | second << 8).v);
    }
#endif
    target.write(p, Float4{Float(first) * unormScale, Float(second) * unormScale, 0, 1});
}

/// The same for a stretch and a target of one component.
template <class Target>
ONDRIX_INLINE void writeBytes(const Target& target, const Stretch& p, const Int (&packs)[Stretch::packs]) {
#if !defined(ONDRIX_PLAIN)
    if (p.isInterior) {
        const lanes::Ints bytes = lanes::packWords(packs[0].v, packs[1].v, packs[2].v, packs[3].v);
        return lanes::storeWords(target.view.bytes + p.y * target.view.bytesPerRow + p.x, undealtWords(bytes));
    }
#endif
    for (int i = 0; i < Stretch::packs; i++) {
        if (p.pack(i).count > 0) writeBytes(target, p.pack(i), packs[i], Int(0));
    }
}

}  // namespace detail

/// Whether `writeLuma` and `writeChroma` make frames of such a format of such pictures.
ONDRIX_INLINE bool areFixed(const TextureView& picture, const TextureView& frame) {
    const auto format = static_cast<Format>(frame.format);
    return isFourPlainBytes(static_cast<Format>(picture.format)) && (format == Format::r8 || format == Format::rg8);
}

template <class Picture, class Target>
ONDRIX_INLINE void writeLuma(const Stretch& p, const Picture& picture, const Target& luma, const SampleWeights& k) {
    const auto format = static_cast<Format>(picture.view.format);
    Int samples[Stretch::packs];
    for (int i = 0; i < Stretch::packs; i++) {
        const Position pack = p.pack(i);
        samples[i] = pack.count > 0 ? detail::lumaOf(reading::run(picture.view, pack).exact, k, format) : Int(0);
    }
    detail::writeBytes(luma, p, samples);
}

/// Calls `write` with the samples of Cb and Cr.
template <class Picture, class Write>
ONDRIX_INLINE void withChroma(const Position& p, const Picture& picture, const detail::ChromaCells& cells,
                              const SampleWeights& blue, const SampleWeights& red, const Write& write) {
    const auto format = static_cast<Format>(picture.view.format);
    const detail::ByteSums sums = [&]() __attribute__((always_inline)) {
#if !defined(ONDRIX_PLAIN)
        if (cells.halvesWidth) return detail::wholeCells(picture.view, p.x, p.y, cells);
#endif
        return detail::generalCells(picture, p, cells);
    }
    ();
    write(detail::samplesOf<3>(sums, blue, format), detail::samplesOf<3>(sums, red, format));
}

template <class Picture, class Target>
ONDRIX_INLINE void writeChroma(const Position& p, const Picture& picture, const Target& chroma,
                               const detail::ChromaCells& cells, const SampleWeights& blue, const SampleWeights& red) {
    withChroma(
        p, picture, cells, blue,
        red, [&](Int cb, Int cr) __attribute__((always_inline)) { detail::writeBytes(chroma, p, cb, cr); });
}

template <class Picture, class BlueTarget, class RedTarget>
ONDRIX_INLINE void writeChroma(const Stretch& p, const Picture& picture, const BlueTarget& ofBlue,
                               const RedTarget& ofRed, const detail::ChromaCells& cells, const SampleWeights& blue,
                               const SampleWeights& red) {
    Int samples[2][Stretch::packs];
    for (int i = 0; i < Stretch::packs; i++) {
        samples[0][i] = samples[1][i] = Int(0);
        if (p.pack(i).count == 0) continue;
        withChroma(
            p.pack(i), picture, cells, blue, red, [&](Int cb, Int cr) __attribute__((always_inline)) {
                samples[0][i] = cb;
                samples[1][i] = cr;
            });
    }
    detail::writeBytes(ofBlue, p, samples[0]);
    detail::writeBytes(ofRed, p, samples[1]);
}

}  // namespace ondrix::shading
