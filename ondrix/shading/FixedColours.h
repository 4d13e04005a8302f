#pragma once

#include <cmath>

#include <ondrix/shading/Chroma.h>

/// Frames to bytes of red, green and blue in fixed-point arithmetic of 16 bits, chroma interpolated to the places of
/// luma.
namespace ondrix::shading {

/// Weights of samples, in the arithmetic of `YCbCrWeights`: levels counted in 1/64, level 0 at 256 * 64. Luma comes as
/// a number of 16 bits, and chroma 256 times its distance from grey as for 8 bits, which leaves room for what lies
/// between two samples. Results are at most 0.56 levels from exact arithmetic.
struct FixedWeights {
    // Pairs of equal 16-bit numbers, for red, green and blue.
    std::int32_t luma;
    std::int32_t first[3], second[3], bias[3];
    std::int32_t lumaScale;  ///< from a sample to a number of 16 bits
    int bits;                ///< of a sample
    bool redFirst;           ///< red takes from the first component of chroma, blue from the second

    /// The weights give 0...1: those of a sample of luma, of sums of chroma (`chromaSumScale`), and what is added.
    FixedWeights(const float (&ofLuma)[4], const float (&ofFirst)[4], const float (&ofSecond)[4],
                 const float (&offset)[4], const PlaneLayout& layout)
        : bits(layout.largest > 255 ? 10 : 8), redFirst(ofFirst[0] != 0) {
        const auto pair = [](double value) {
            const auto number = static_cast<std::int32_t>(std::lround(std::fmin(std::fmax(value, -32767), 32767)));
            return YCbCrWeights::pair(number, number);
        };
        constexpr double one = 255 << YCbCrWeights::fractionBits;
        const double chroma = one * chromaSumScale * (1 << (bits - 8)) * 128, grey = 1 << (bits - 1);
        lumaScale = bits == 8 ? 257 : 1 << (16 - bits);
        luma = pair(ofLuma[0] * one * 65536 / lumaScale);
        for (int i = 0; i < 3; i++) {
            first[i] = pair(ofFirst[i] * chroma);
            second[i] = pair(ofSecond[i] * chroma);
            const double black = offset[i] + grey * chromaSumScale * (double{ofFirst[i]} + ofSecond[i]);
            // Half a level to round the result, and half a step for luma, which is rounded down.
            bias[i] = pair(YCbCrWeights::black + black * one + (1 << YCbCrWeights::fractionBits) / 2 + 0.5);
        }
    }
};

namespace detail {

/// In both halves, red, green and blue of two pixels as levels of `YCbCrWeights`, at least `black`.
struct FixedLevels {
    lanes::Ints red, green, blue;

    ONDRIX_INLINE FixedLevels(lanes::Ints luma, lanes::Ints first, lanes::Ints second, const FixedWeights& k,
                              bool redFirst) {
        using namespace lanes;
        const Ints scaled = multiplyHigh(luma, broadcast(k.luma));
        const auto product = [](Ints chroma, std::int32_t weight) __attribute__((always_inline)) {
            return multiplyRounded(chroma, broadcast(weight));
        };
        const Ints ofGreen = addSaturating(product(first, k.first[1]), product(second, k.second[1]));
        green = colourLevels(scaled, addSaturating(ofGreen, broadcast(k.bias[1])));
        if (redFirst) {
            red = colourLevels(scaled, addSaturating(product(first, k.first[0]), broadcast(k.bias[0])));
            blue = colourLevels(scaled, addSaturating(product(second, k.second[2]), broadcast(k.bias[2])));
        } else {
            red = colourLevels(scaled, addSaturating(product(second, k.second[0]), broadcast(k.bias[0])));
            blue = colourLevels(scaled, addSaturating(product(first, k.first[2]), broadcast(k.bias[2])));
        }
    }
};

/// The opaque bgra8 pixels of a pack, of samples of luma and `chromaSums`.
ONDRIX_INLINE Int fixedColours(Int luma, Int sums, const FixedWeights& k) {
    const auto centred = [&](Int sum) __attribute__((always_inline)) {
        return ((sum << (12 - k.bits)) ^ 0x8000).v;
    };
    const FixedLevels levels((luma * k.lumaScale).v, centred(sums & 0xffff), centred(sums >> 16 & 0xffff), k,
                             k.redFirst);
    return Int((levels.blue >> 6 & 0xff) | (levels.green << 2 & 0xff00) | (levels.red << 10 & 0xff0000)) |
           Int(0xff000000u);
}

#if !defined(ONDRIX_PLAIN)

typedef std::uint16_t UHalves __attribute__((vector_size(lanes::count * 4)));
typedef std::uint8_t BytesOfHalves __attribute__((vector_size(lanes::count * 2), aligned(1), may_alias));

/// Whole words dealt like those of `lanes::loadDealt`, and back.
ONDRIX_INLINE lanes::Ints dealtWords(lanes::Ints v) {
    return lanes::detail::pick<lanes::Ints, lanes::detail::Dealt>(v, v);
}
struct Undealt {
    static constexpr int at(int i) { return i % (lanes::count / 4) * 4 + i / (lanes::count / 4); }
};
ONDRIX_INLINE lanes::Ints undealtWords(lanes::Ints v) {
    return lanes::detail::pick<lanes::Ints, Undealt>(v, v);
}

/// Where the samples of a stretch of 4:2:0 or 4:2:2 begin in their rows. Chroma has a sample more on either side;
/// `near` is in the nearest row and `far` in that beyond the pixel, both for the first and the second plane.
struct FrameRows {
    const std::uint8_t* luma;
    const std::uint8_t *near[2], *far[2];
};

/// What is known of a frame where it is compiled.
template <class ElementType, bool separate, bool centred, bool first>
struct FrameKind {
    using Element = ElementType;
    static constexpr bool isSeparate = separate, isCentred = centred, redFirst = first;
};

/// Chroma of a stretch: four times the samples of a row between two of them, in the order of `halves`.
template <class Kind>
struct ChromaRows {
    using Element = typename Kind::Element;
    static constexpr bool isSeparate = Kind::isSeparate;
    const FrameRows& rows;
    const PlaneLayout& layout;

    /// From sample `at` on. Of both components in turn, for one half of the stretch; where they have planes of their
    /// own, of one of them for both halves.
    template <int part>
    ONDRIX_INLINE lanes::Ints sums(std::int64_t at) const {
        using namespace lanes;
        constexpr std::int64_t size = sizeof(Element);
        constexpr int plane = isSeparate ? part : 0;
        if constexpr (size == 1 && !isSeparate) {
            const Ints near = loadDealt(rows.near[0] + 2 * at), far = loadDealt(rows.far[0] + 2 * at);
            return multiplyBytePairs(interleaveBytes<part>(near, far), broadcast(0x01030103));
        } else if constexpr (size == 1) {
            const auto load = [at](const std::uint8_t* p) __attribute__((always_inline)) {
                return __builtin_convertvector(*reinterpret_cast<const BytesOfHalves*>(p + at), UHalves);
            };
            return dealtWords(reinterpret_cast<Ints>(load(rows.near[plane]) * 3 + load(rows.far[plane])));
        } else {
            const auto load = [&](const std::uint8_t* p) __attribute__((always_inline)) {
                const std::uint8_t* from = p + (isSeparate ? size * at : 2 * size * (at + part * lanes::count));
                const auto stored = reinterpret_cast<UHalves>(loadWords(from));
                return (stored >> layout.unusedBits) & static_cast<std::uint16_t>(layout.largest);
            };
            const auto sum = reinterpret_cast<Ints>(load(rows.near[plane]) * 3 + load(rows.far[plane]));
            return isSeparate ? dealtWords(sum) : dealt(sum);
        }
    }

    /// Chroma at the first and at the second pixel that share a sample, 2^16 for all samples.
    template <int part>
    ONDRIX_INLINE void pixels(const FixedWeights& k, lanes::Ints& even, lanes::Ints& odd) const {
        const auto here = reinterpret_cast<UHalves>(sums<part>(0)), next = reinterpret_cast<UHalves>(sums<part>(1));
        const int shift = sizeof(Element) == 1 ? 4 : 12 - k.bits;
        if constexpr (!Kind::isCentred) {
            even = reinterpret_cast<lanes::Ints>(here << (shift + 2));
            odd = reinterpret_cast<lanes::Ints>((here + next) << (shift + 1));
        } else {
            const auto before = reinterpret_cast<UHalves>(sums<part>(-1));
            even = reinterpret_cast<lanes::Ints>((here * 3 + before) << shift);
            odd = reinterpret_cast<lanes::Ints>((here * 3 + next) << shift);
        }
    }
};

/// One half of a stretch, as `convertHalf` in YCbCr.h.
template <class Kind, int half>
ONDRIX_INLINE void fixedHalf(const FrameRows& rows, lanes::Ints first, lanes::Ints second, const FixedWeights& k,
                             const PlaneLayout& layout, Int* packs) {
    using namespace lanes;
    constexpr auto grey = static_cast<std::int32_t>(0x80008000);
    const auto luma = [&]() __attribute__((always_inline))->Ints {
        if constexpr (sizeof(typename Kind::Element) == 1) {
            const Ints bytes = loadDealt(rows.luma);
            return interleaveBytes<half>(bytes, bytes);
        } else {
            const auto stored = reinterpret_cast<UHalves>(dealt(loadWords(rows.luma + half * 4 * lanes::count)));
            return reinterpret_cast<Ints>(((stored >> layout.unusedBits) & static_cast<std::uint16_t>(layout.largest))
                                          << (16 - k.bits));
        }
    };
    const FixedLevels levels(luma(), first ^ grey, second ^ grey, k, Kind::redFirst);
    const Ints blueGreen = (shiftRightLogical<6>(levels.blue) & 0xff00ff) | (levels.green << 2 & ~0xff00ff);
    const Ints redAlpha = shiftRightLogical<6>(levels.red) | ~0xff00ff;
    packs[2 * half] = Int(interleaveHalves<0>(blueGreen, redAlpha));
    packs[2 * half + 1] = Int(interleaveHalves<1>(blueGreen, redAlpha));
}

template <class Kind>
ONDRIX_INLINE void fixedStretch(const FrameRows& rows, const FixedWeights& k, const PlaneLayout& layout, Int* packs) {
    using namespace lanes;
    const ChromaRows<Kind> chroma{rows, layout};
    Ints even[2], odd[2];
    chroma.template pixels<0>(k, even[0], odd[0]);
    chroma.template pixels<1>(k, even[1], odd[1]);
    if constexpr (Kind::isSeparate) {
        fixedHalf<Kind, 0>(rows, interleaveHalves<0>(even[0], odd[0]), interleaveHalves<0>(even[1], odd[1]), k, layout,
                           packs);
        fixedHalf<Kind, 1>(rows, interleaveHalves<1>(even[0], odd[0]), interleaveHalves<1>(even[1], odd[1]), k, layout,
                           packs);
    } else {
        const auto blend = [&]<int half>(std::integral_constant<int, half>) __attribute__((always_inline)) {
            fixedHalf<Kind, half>(rows, (even[half] & 0xffff) | odd[half] << 16,
                                  shiftRightLogical<16>(even[half]) | (odd[half] & ~0xffff), k, layout, packs);
        };
        blend(std::integral_constant<int, 0>{});
        blend(std::integral_constant<int, 1>{});
    }
}

/// Texels from `from` on, those outside as at the edge.
ONDRIX_INLINE void copyClamped(std::uint8_t* to, const std::uint8_t* row, int size, int width, int from, int count) {
    const int first = from < 0 ? -from : 0, last = count < width - from ? count : width - from;
    const auto texel = [&](int i) __attribute__((always_inline)) {
        const int at = from + i;
        std::memcpy(to + i * size,
                    row + (at < 0       ? 0
                           : at < width ? at
                                        : width - 1) *
                              size,
                    static_cast<std::size_t>(size));
    };
    for (int i = 0; i < first; i++) texel(i);
    if (first < last) {
        std::memcpy(to + first * size, row + (from + first) * size, static_cast<std::size_t>((last - first) * size));
    }
    for (int i = last < first ? first : last; i < count; i++) texel(i);
}

/// Copies of the rows of a stretch at an edge.
struct RowsAtEdge {
    static constexpr int most = 2 * lanes::count + 2;  // samples of chroma
    alignas(64) std::uint8_t luma[2 * Stretch::pixels];
    std::uint8_t chroma[4][4 * most];

    [[gnu::noinline]] FrameRows of(FrameRows rows, int x, int lumaWidth, int lumaSize, int width, int size,
                                   bool isSeparate) {
        copyClamped(luma, rows.luma, lumaSize, lumaWidth, x, Stretch::pixels);
        for (int plane = 0; plane < (isSeparate ? 2 : 1); plane++) {
            copyClamped(chroma[plane], rows.near[plane], size, width, x / 2 - 1, most);
            copyClamped(chroma[plane + 2], rows.far[plane], size, width, x / 2 - 1, most);
        }
        return {luma, {chroma[0] + size, chroma[1] + size}, {chroma[2] + size, chroma[3] + size}};
    }
};

/// A row of a frame, and where its pixels go.
struct FrameRow {
    FrameRows rows;  ///< chroma from its first sample on
    int lumaWidth, chromaWidth;
    std::uint8_t* pixels;
    int count;  ///< pixels, all inside the frame
    bool isBlueFirst, streaming;
};

template <class Kind>
[[gnu::noinline]] inline void fixedRow(FrameRow row, FixedWeights k, PlaneLayout layout) {
    constexpr int size = sizeof(typename Kind::Element), ofChroma = Kind::isSeparate ? size : 2 * size;
    const FrameRows& rows = row.rows;
    const auto stretch = [&](const FrameRows& from, std::uint8_t* to, bool streaming) __attribute__((always_inline)) {
        Int packs[Stretch::packs];
        fixedStretch<Kind>(from, k, layout, packs);
        for (int i = 0; i < Stretch::packs; i++) {
            const Int words = row.isBlueFirst ? packs[i] : swapRedAndBlue(packs[i]);
            std::uint8_t* const pixels = to + 4 * lanes::count * i;
            streaming ? lanes::streamWords(pixels, words.v) : lanes::storeWords(pixels, words.v);
        }
    };
    const auto atEdge = [&](int x) __attribute__((always_inline)) {
        RowsAtEdge edge;
        alignas(64) std::uint8_t pixels[4 * Stretch::pixels];
        const int count = row.count - x < Stretch::pixels ? row.count - x : Stretch::pixels;
        stretch(edge.of(rows, x, row.lumaWidth, size, row.chromaWidth, ofChroma, Kind::isSeparate), pixels, false);
        std::memcpy(row.pixels + 4 * std::int64_t{x}, pixels, 4 * static_cast<std::size_t>(count));
    };
    for (int x = 0; x < row.count; x += Stretch::pixels) {
        const std::int64_t luma = std::int64_t{size} * x, chroma = std::int64_t{ofChroma} * (x / 2);
        const bool isInside = x > 0 && x / 2 + 2 * lanes::count < row.chromaWidth && x + Stretch::pixels <= row.count;
        if (__builtin_expect(!isInside, false)) {
            atEdge(x);
            continue;
        }
        const FrameRows from{rows.luma + luma,
                             {rows.near[0] + chroma, rows.near[1] + chroma},
                             {rows.far[0] + chroma, rows.far[1] + chroma}};
        std::uint8_t* const to = row.pixels + 4 * std::int64_t{x};
        for (int i = 0; i < Stretch::packs && !row.streaming; i++) lanes::fetchToWrite(to + 4 * lanes::count * i);
        stretch(from, to, row.streaming);
    }
}

/// Chooses by what is not known of a frame yet.
template <class Element, bool isSeparate>
inline void fixedRow(const FrameRow& row, const FixedWeights& k, const PlaneLayout& layout) {
    if (layout.isCentred != 0) {
        if (!isSeparate && k.redFirst) return fixedRow<FrameKind<Element, isSeparate, true, true>>(row, k, layout);
        return fixedRow<FrameKind<Element, isSeparate, true, false>>(row, k, layout);
    }
    if (!isSeparate && k.redFirst) return fixedRow<FrameKind<Element, isSeparate, false, true>>(row, k, layout);
    fixedRow<FrameKind<Element, isSeparate, false, false>>(row, k, layout);
}

#endif

}  // namespace detail

/// The opaque colours of rows of a frame, for a target of `isFourPlainBytes`; `first` and `second` as for `chromaSums`.
/// False, and nothing is written, where the planes are none of those that this is for.
template <class Target>
inline bool writeFixedColours([[maybe_unused]] const WholeRows& p, [[maybe_unused]] const TextureView& luma,
                              [[maybe_unused]] const TextureView& first, [[maybe_unused]] const TextureView& second,
                              [[maybe_unused]] const PlaneLayout& layout, [[maybe_unused]] const FixedWeights& k,
                              [[maybe_unused]] const Target& target) {
#if !defined(ONDRIX_PLAIN)
    const bool isSeparate = layout.isSeparate != 0, areWords = isWords(static_cast<Format>(luma.format));
    const Format ofLuma = areWords ? Format::r16 : Format::r8;
    const Format ofChroma = isSeparate ? ofLuma : areWords ? Format::rg16 : Format::rg8;
    const auto is = [](const TextureView& view, Format format) {
        return view.format == static_cast<std::uint32_t>(format);
    };
    if (layout.halvesWidth == 0 || !is(luma, ofLuma) || !is(first, ofChroma) || !is(second, ofChroma) ||
        p.count > luma.width || p.y + p.rows > luma.height)
        return false;
    for (int y = p.y; y < p.y + p.rows; y++) {
        const auto line = [](const TextureView& view, int at) {
            return view.bytes + std::clamp(at, 0, view.height - 1) * view.bytesPerRow;
        };
        const int near = layout.halvesHeight != 0 ? y >> 1 : y;
        const int far = layout.halvesHeight == 0 ? near : (y & 1) != 0 ? near + 1 : near - 1;
        const detail::FrameRow row{
            {line(luma, y), {line(first, near), line(second, near)}, {line(first, far), line(second, far)}},
            luma.width,
            first.width,
            target.view.bytes + y * target.view.bytesPerRow,
            p.count,
            isBlueFirst(static_cast<Format>(target.view.format)),
            target.streaming};
        if (areWords) {
            isSeparate ? detail::fixedRow<std::uint16_t, true>(row, k, layout)
                       : detail::fixedRow<std::uint16_t, false>(row, k, layout);
        } else {
            isSeparate ? detail::fixedRow<std::uint8_t, true>(row, k, layout)
                       : detail::fixedRow<std::uint8_t, false>(row, k, layout);
        }
    }
    return true;
#else
    return false;
#endif
}

}  // namespace ondrix::shading
