#pragma once

#include <utility>

#include <ondrix/shading/Lanes.h>

/// Packs as numbers of 16 bits, two a lane, or as bytes, four a lane. Arithmetic that 16 bits suffice for works on
/// twice as many numbers at once as arithmetic in whole lanes. All levels share these functions.
namespace ondrix::shading::lanes {

ONDRIX_INLINE Ints largerHalves(Ints a, Ints b) {
    const auto x = reinterpret_cast<Halves>(a), y = reinterpret_cast<Halves>(b);
    return reinterpret_cast<Ints>(x > y ? x : y);
}

ONDRIX_INLINE Ints swapHalves(Ints v) {
    return v << 16 | shiftRightLogical<16>(v);
}

/// Copies bytes that don't overlap. With `streaming`, past the caches; then `to` is a multiple of the size of a pack.
inline void copyBytes(std::uint8_t* to, const std::uint8_t* from, std::size_t size, bool streaming) {
    if (streaming) {
        constexpr std::size_t pack = sizeof(Ints);
        for (; size >= pack; size -= pack, to += pack, from += pack) streamWords(to, loadWords(from));
    }
#if !defined(ONDRIX_PLAIN) && defined(__AVX2__) && !defined(__SANITIZE_ADDRESS__)
    // Fast on processors with AVX2, and lines of the cache that are overwritten as a whole aren't loaded before.
    asm volatile("rep movsb" : "+D"(to), "+S"(from), "+c"(size)::"memory");
#else
    std::memcpy(to, from, size);
#endif
}

/// Copies pieces one after another, and pieces that follow each other in memory as one. Call `finish` at the end: what
/// was added last isn't copied before.
struct BytesCopy {
    bool streaming;  ///< as in `copyBytes`, for every piece
    std::uint8_t* to = nullptr;
    const std::uint8_t* from = nullptr;
    std::size_t size = 0;

    void add(std::uint8_t* nextTo, const std::uint8_t* nextFrom, std::size_t nextSize) {
        if (to + size != nextTo || from + size != nextFrom) {
            finish();
            to = nextTo;
            from = nextFrom;
        }
        size += nextSize;
    }
    void finish() {
        if (size > 0) copyBytes(to, from, size, streaming);
        size = 0;
    }
};

#if !defined(ONDRIX_PLAIN)

namespace detail {
/// Elements of `a` followed by those of `b`, picked by `index(i)`.
template <class Vector, class Index, int... i>
ONDRIX_INLINE Ints pick(Ints a, Ints b, std::integer_sequence<int, i...>) {
    return reinterpret_cast<Ints>(
        __builtin_shufflevector(reinterpret_cast<Vector>(a), reinterpret_cast<Vector>(b), Index::at(i)...));
}
template <class Vector, class Index>
ONDRIX_INLINE Ints pick(Ints a, Ints b) {
    return pick<Vector, Index>(a, b, std::make_integer_sequence<int, sizeof(Vector) / sizeof(Vector{}[0])>{});
}

template <int elements, int half>
struct Interleaved {
    static constexpr int chunk = elements / (count / 4);
    static constexpr int at(int i) { return i / chunk * chunk + half * chunk / 2 + i % chunk / 2 + i % 2 * elements; }
};
template <int half>
struct OneHalf {
    static constexpr int at(int i) { return (i & ~1) + half; }
};
struct Dealt {
    static constexpr int at(int i) { return i % 4 * (count / 4) + i / 4; }
};
struct DealtPairs {
    static constexpr int at(int i) { return i / 4 * 2 + i % 2 + i % 4 / 2 * (count / 2); }
};
struct UndealtPairs {
    static constexpr int at(int i) { return i % (count / 2) / 2 * 4 + i % 2 + i / (count / 2) * 2; }
};
template <int half>
struct UpperHalvesOfPairs {
    static constexpr int at(int i) { return i / 8 * 8 + half * 4 + i % 8 / 4 * 2 + 1; }
};
template <int k>
struct LaneOfFour {
    static constexpr int at(int i) { return i / 4 * 4 + k; }
};
typedef std::int64_t Longs __attribute__((vector_size(count * 4)));
}  // namespace detail

/// Bytes of `a` and `b` in turn, from the lower or the upper eight (`half` 0 or 1) of every 16 bytes.
template <int half>
ONDRIX_INLINE Ints interleaveBytes(Ints a, Ints b) {
    return detail::pick<Bytes, detail::Interleaved<4 * count, half>>(a, b);
}

/// Numbers of 16 bits of `a` and `b` in turn, from the lower or the upper four of every 16 bytes.
template <int half>
ONDRIX_INLINE Ints interleaveHalves(Ints a, Ints b) {
    return detail::pick<Halves, detail::Interleaved<2 * count, half>>(a, b);
}

/// The lower or the upper half of each lane in both.
template <int half>
ONDRIX_INLINE Ints halfTwice(Ints v) {
    return detail::pick<Halves, detail::OneHalf<half>>(v, v);
}

/// Lanes dealt out in pairs to the lower and the upper half of every four: 0, 1, count / 2, count / 2 + 1, 2, 3, ...
/// After that, interleaving bytes or halves gives the lower pixels and the upper ones in order.
ONDRIX_INLINE Ints dealt(Ints v) {
    return detail::pick<Ints, detail::DealtPairs>(v, v);
}
/// Undoes `dealt`.
ONDRIX_INLINE Ints undealt(Ints v) {
    return detail::pick<Ints, detail::UndealtPairs>(v, v);
}

/// Of every four lanes, the upper halves of the first two (`half` 0) or the last two, each four times.
template <int half>
ONDRIX_INLINE Ints upperHalvesOfPairs(Ints v) {
    return detail::pick<Halves, detail::UpperHalvesOfPairs<half>>(v, v);
}

/// Of every four lanes, lane k four times.
template <int k>
ONDRIX_INLINE Ints laneOfFour(Ints v) {
    return detail::pick<Ints, detail::LaneOfFour<k>>(v, v);
}

/// Turns every square of four lanes of the four packs: the first result holds the first lane of each four, and so on.
ONDRIX_INLINE void transpose(const Ints (&packs)[4], Ints (&result)[4]) {
    using detail::Interleaved;
    using detail::pick;
    const Ints lower[2] = {pick<Ints, Interleaved<count, 0>>(packs[0], packs[1]),
                           pick<Ints, Interleaved<count, 0>>(packs[2], packs[3])};
    const Ints upper[2] = {pick<Ints, Interleaved<count, 1>>(packs[0], packs[1]),
                           pick<Ints, Interleaved<count, 1>>(packs[2], packs[3])};
    result[0] = pick<detail::Longs, Interleaved<count / 2, 0>>(lower[0], lower[1]);
    result[1] = pick<detail::Longs, Interleaved<count / 2, 1>>(lower[0], lower[1]);
    result[2] = pick<detail::Longs, Interleaved<count / 2, 0>>(upper[0], upper[1]);
    result[3] = pick<detail::Longs, Interleaved<count / 2, 1>>(upper[0], upper[1]);
}

/// Texels of `size` bytes, 8 or 16, that begin at base + 4 * index: of every four lanes that of lane k, in 16 bytes
/// filled up with zeros.
template <int k, int size>
ONDRIX_INLINE Ints texelsOfFour(const std::uint8_t* base, const std::int32_t (&index)[count]) {
    Four parts[count / 4];
    for (int i = 0; i < count / 4; i++) {
        const std::uint8_t* texel = base + 4 * static_cast<std::int64_t>(index[4 * i + k]);
        if constexpr (size == 16) {
            std::memcpy(&parts[i], texel, 16);
        } else {
            typedef std::int64_t Two __attribute__((vector_size(16)));
            std::int64_t bytes;
            std::memcpy(&bytes, texel, 8);
            parts[i] = reinterpret_cast<Four>(Two{bytes, 0});
        }
    }
    return joined(parts);
}

/// 4 * count bytes in groups of four, dealt out so that interleaving bytes and then halves brings them back into order:
/// the lower halves of both steps give the pixels 0 to count - 1, the upper of the second the next ones, and so on.
ONDRIX_INLINE Ints loadDealt(const std::uint8_t* p) {
    const Ints words = loadWords(p);
    return detail::pick<Ints, detail::Dealt>(words, words);
}

#endif

}  // namespace ondrix::shading::lanes
