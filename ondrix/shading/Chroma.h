#pragma once

#include <ondrix/shading/Texture.h>
#include <ondrix/shading/YCbCr.h>

/// Reading the planes of YCbCr pictures with 8 to 12 bits, chroma interpolated to the places of luma. Sums stay whole
/// numbers, so all levels and layouts agree exactly.
namespace ondrix::shading {

/// How the samples of a picture lie in its planes. All members are 32-bit, as in the constants of functions.
struct PlaneLayout {
    std::int32_t halvesWidth = 0;   ///< 1 where two columns of luma share a sample of chroma
    std::int32_t halvesHeight = 0;  ///< likewise for rows
    std::int32_t isCentred = 0;     ///< chroma lies between two columns, not beside the left one; rows always between
    std::int32_t isSeparate = 0;    ///< Cb and Cr have a texture each
    std::int32_t unusedBits = 0;    ///< lowest bits of a stored number that are not part of the sample
    std::int32_t largest = 255;     ///< sample, all bits set; higher bits of the stored number are left out
};

/// So many times a sample are sums of chroma.
inline constexpr int chromaSumScale = 16;

namespace detail {

/// The two samples of chroma that a place of luma lies between along one axis, and four times the weight of the first.
struct ChromaTaps {
    Int first, second, weight;
};

ONDRIX_INLINE ChromaTaps chromaTaps(Int at, bool halves, bool isCentred, int size) {
    const auto inside = [size](Int i) __attribute__((always_inline)) {
        return clamp(i, 0, size - 1);
    };
    if (!halves) return {inside(at), inside(at), 4};
    const Int sample = at >> 1, odd = at & 1;
    if (!isCentred) return {inside(sample), inside(sample + 1), Int(4) - odd * 2};
    return {inside(sample - 1 + odd), inside(sample + odd), odd * 2 + 1};
}

/// The sample in one component of a texel.
ONDRIX_INLINE Int sampleOf(Float component, Format format, const PlaneLayout& layout) {
    const Int stored = toInt(component * (isWords(format) ? 65535.0f : 255.0f) + 0.5f);
    return stored >> layout.unusedBits & layout.largest;
}

/// `chromaSums` for any place and format.
[[gnu::noinline]] inline Int generalChromaSums(TextureView first, TextureView second, PlaneLayout layout, int x0,
                                               int y0) {
    const auto format = static_cast<Format>(first.format);
    const ChromaTaps x =
        chromaTaps(Int(lanes::iota()) + x0, layout.halvesWidth != 0, layout.isCentred != 0, first.width);
    const ChromaTaps y = chromaTaps(Int(y0), layout.halvesHeight != 0, true, first.height);
    Int sums(0);
    for (int row = 0; row < 2; row++) {
        for (int column = 0; column < 2; column++) {
            const Int2 at{column == 0 ? x.first : x.second, row == 0 ? y.first : y.second};
            const Int weight = (column == 0 ? x.weight : Int(4) - x.weight) * (row == 0 ? y.weight : Int(4) - y.weight);
            const Texel texel = reading::pixels(first, at);
            const Float red = layout.isSeparate != 0 ? reading::pixels(second, at).x : texel.y;
            sums += sampleOf(texel.x, format, layout) * weight | sampleOf(red, format, layout) * weight << 16;
        }
    }
    return sums;
}

#if !defined(ONDRIX_PLAIN)
constexpr int halfCount = lanes::count / 2;
typedef std::int32_t HalfOfInts __attribute__((vector_size(halfCount * 4)));

template <class Element>
struct HalfInMemory {
    typedef Element Type __attribute__((vector_size(halfCount * sizeof(Element)), aligned(1), may_alias));
};

/// Each of the lanes' lower half twice.
template <int... i>
ONDRIX_INLINE lanes::Ints twice(HalfOfInts v, std::integer_sequence<int, i...>) {
    return __builtin_shufflevector(v, v, (i / 2)...);
}

template <class Element>
ONDRIX_INLINE lanes::Ints loadHalfTwice(const std::uint8_t* p) {
    const auto v = *reinterpret_cast<const typename HalfInMemory<Element>::Type*>(p);
    return twice(__builtin_convertvector(v, HalfOfInts), std::make_integer_sequence<int, lanes::count>());
}

/// Stored Cb in the low and Cr in the high half of each lane, from one row; two lanes share a sample where the width is
/// halved.
template <class Element, bool isSeparate, bool halvesWidth>
ONDRIX_INLINE lanes::Ints storedChroma(const std::uint8_t* first, const std::uint8_t* second, std::int64_t at) {
    constexpr std::int64_t size = sizeof(Element);
    if constexpr (isSeparate) {
        if constexpr (halvesWidth) {
            return loadHalfTwice<Element>(first + size * at) | loadHalfTwice<Element>(second + size * at) << 16;
        } else if constexpr (size == 1) {
            return lanes::loadBytes(first + at) | lanes::loadBytes(second + at) << 16;
        } else {
            return lanes::loadShorts(first + 2 * at) | lanes::loadShorts(second + 2 * at) << 16;
        }
    } else if constexpr (size == 1) {
        if constexpr (halvesWidth) return lanes::loadBytePairsTwice(first + 2 * at);
        const lanes::Ints pairs = lanes::loadShorts(first + 2 * at);
        return (pairs & 255) | (pairs & 0xff00) << 8;
    } else {
        return halvesWidth ? loadHalfTwice<std::int32_t>(first + 4 * at) : lanes::loadWords(first + 4 * at);
    }
}

/// Whole packs, the first at an even column, all of whose samples are inside.
template <class Element, bool isSeparate, bool halvesWidth>
ONDRIX_INLINE Int wholeChromaSums(const TextureView& first, const TextureView& second, const PlaneLayout& layout, int x,
                                  int y) {
    const auto limit = [&](int row) __attribute__((always_inline)) {
        return row < 0 ? 0 : row < first.height ? row : first.height - 1;
    };
    const int sample = layout.halvesHeight != 0 ? y >> 1 : y;
    const int near = limit(sample), far = limit((y & 1) != 0 ? sample + 1 : sample - 1);
    const std::int32_t all = layout.largest | layout.largest << 16;
    const auto row = [&](int at, int line) __attribute__((always_inline)) {
        const lanes::Ints stored = storedChroma<Element, isSeparate, halvesWidth>(
            first.bytes + line * first.bytesPerRow, isSeparate ? second.bytes + line * second.bytesPerRow : nullptr,
            at);
        return sizeof(Element) == 1 ? stored : (stored >> layout.unusedBits) & all;
    };
    const auto column = [&](int at) __attribute__((always_inline)) {
        const lanes::Ints samples = row(at, near);
        return layout.halvesHeight != 0 ? samples * 3 + row(at, far) : samples * 4;
    };
    if constexpr (!halvesWidth) return Int(column(x) * 4);
    const lanes::Ints isOdd = (lanes::iota() & 1) != 0;
    const int at = x >> 1;
    const lanes::Ints here = column(at), next = column(at + 1);
    if (layout.isCentred == 0) return Int(isOdd ? (here + next) * 2 : here * 4);
    return Int(here * 3 + (isOdd ? next : column(at - 1)));
}

template <bool isSeparate, bool halvesWidth>
ONDRIX_INLINE Int wholeChromaSums(const TextureView& first, const TextureView& second, const PlaneLayout& layout, int x,
                                  int y) {
    if (isWords(static_cast<Format>(first.format)))
        return wholeChromaSums<std::uint16_t, isSeparate, halvesWidth>(first, second, layout, x, y);
    return wholeChromaSums<std::uint8_t, isSeparate, halvesWidth>(first, second, layout, x, y);
}
#endif

}  // namespace detail

/// Samples of luma at a run.
ONDRIX_INLINE Int lumaSamples(const TextureView& view, const PlaneLayout& layout, const Position& p) {
    if (static_cast<Format>(view.format) == Format::r8) return lumaBytes(view, p);
    return detail::sampleOf(reading::run(view, p).x, static_cast<Format>(view.format), layout);
}

/// Cb (low half) and Cr (high half) at a run, `chromaSumScale` times the samples, linear between them and as at the
/// edge beyond it. Cb and Cr come from both components of `first`, or from `first` and `second` where the layout is
/// separate; both then have the same size and format.
ONDRIX_INLINE Int chromaSums(const TextureView& first, const TextureView& second, const PlaneLayout& layout,
                             const Position& p) {
#if !defined(ONDRIX_PLAIN)
    const auto format = static_cast<Format>(first.format);
    const bool isSeparate = layout.isSeparate != 0, halves = layout.halvesWidth != 0;
    const int before = halves ? (p.x >> 1) - 1 : p.x,
              after = halves ? (p.x >> 1) + lanes::count / 2 + 1 : p.x + lanes::count;
    const bool isKnown = isSeparate ? (format == Format::r8 || format == Format::r16) && second.format == first.format
                                    : format == Format::rg8 || format == Format::rg16;
    if (isKnown && p.y >= 0 && before >= 0 && after <= first.width && (p.x & 1) == 0) {
        if (isSeparate)
            return halves ? detail::wholeChromaSums<true, true>(first, second, layout, p.x, p.y)
                          : detail::wholeChromaSums<true, false>(first, second, layout, p.x, p.y);
        return halves ? detail::wholeChromaSums<false, true>(first, second, layout, p.x, p.y)
                      : detail::wholeChromaSums<false, false>(first, second, layout, p.x, p.y);
    }
#endif
    return detail::generalChromaSums(first, second, layout, p.x, p.y);
}

}  // namespace ondrix::shading
