#pragma once

#include <ondrix/shading/Lanes.h>

/// The operations that each instruction set spells in its own way, here as plain loops: their definition. The files
/// LanesSSE.h, LanesAVX2.h and LanesAVX512.h hold the same functions.
namespace ondrix::shading::lanes {

/// The integer below each float, as a float; meant for magnitudes below 2^31.
ONDRIX_INLINE Floats floor(Floats f) {
    Floats result{};
    for (int i = 0; i < count; i++) result[i] = __builtin_floorf(f[i]);
    return result;
}

ONDRIX_INLINE Floats squareRoot(Floats f) {
    Floats result{};
    for (int i = 0; i < count; i++) result[i] = __builtin_sqrtf(f[i]);
    return result;
}

/// Truncates; NaN and values below -2^31 give the smallest integer, values from 2^31 on are not allowed.
ONDRIX_INLINE Ints truncate(Floats f) {
    Ints result{};
    for (int i = 0; i < count; i++) result[i] = f[i] > -2147483648.0f ? static_cast<std::int32_t>(f[i]) : INT32_MIN;
    return result;
}

/// The integer at or below start + step * column, computed in double precision; beyond plus or minus 2^30 the nearer of
/// the two, and the lower one for NaN.
ONDRIX_INLINE Ints floorOfLine(double start, double step, Ints column) {
    constexpr double limit = 1 << 30;
    Ints result{};
    for (int i = 0; i < count; i++) {
        double d = start + static_cast<double>(column[i]) * step;
        d = d > -limit ? d : -limit;
        d = d < limit ? d : limit;
        const auto truncated = static_cast<std::int32_t>(d);
        result[i] = truncated - (static_cast<double>(truncated) > d ? 1 : 0);
    }
    return result;
}

/// The 32-bit words at base + 4 * index.
ONDRIX_INLINE Ints gather(const void* base, Ints index) {
    Ints result{};
    for (int i = 0; i < count; i++) {
        std::int32_t word;
        std::memcpy(&word, static_cast<const std::uint8_t*>(base) + 4 * static_cast<std::int64_t>(index[i]), 4);
        result[i] = word;
    }
    return result;
}

/// The words at base + 4 * index, and those that follow them.
ONDRIX_INLINE void gatherPairs(const void* base, Ints index, Ints& first, Ints& second) {
    for (int i = 0; i < count; i++) {
        std::int32_t words[2];
        std::memcpy(words, static_cast<const std::uint8_t*>(base) + 4 * static_cast<std::int64_t>(index[i]), 8);
        first[i] = words[0];
        second[i] = words[1];
    }
}

#if !defined(ONDRIX_PLAIN)
/// Parts of four lanes as a pack, the first part in the lowest lanes.
ONDRIX_INLINE Ints joined(const Four (&parts)[1]) {
    return parts[0];
}
#endif

/// Like `storeWords` at a multiple of the size of a pack, for results that would only push other data out of the
/// caches. What is stored so is in order with other memory operations only after `finishStreaming`.
ONDRIX_INLINE void streamWords(std::uint8_t* p, Ints v) {
    storeWords(p, v);
}
ONDRIX_INLINE void finishStreaming() {}

/// One byte a lane.
ONDRIX_INLINE Ints loadBytes(const std::uint8_t* p) {
    Ints result{};
    for (int i = 0; i < count; i++) result[i] = p[i];
    return result;
}

/// Two bytes for every two lanes: lane i gets the pair i / 2, its bytes widened to the low and the high half.
ONDRIX_INLINE Ints loadBytePairsTwice(const std::uint8_t* p) {
    Ints result{};
    for (int i = 0; i < count; i++) result[i] = p[i & ~1] | p[i | 1] << 16;
    return result;
}

/// Byte k of each lane, counted from the lowest.
template <int k>
ONDRIX_INLINE Ints byteOf(Ints v) {
    return shiftRightLogical<8 * k>(v) & 255;
}

/// Four signed numbers a lane, each limited to 0...255, as bytes, `first` the lowest.
ONDRIX_INLINE Ints packBytes(Ints first, Ints second, Ints third, Ints fourth) {
    const auto limited = [](Ints v) __attribute__((always_inline)) {
        return smaller(larger(v, Ints{}), broadcast(255));
    };
    return limited(first) | limited(second) << 8 | limited(third) << 16 | limited(fourth) << 24;
}

/// Low half times low half plus high half times high half; the halves are signed 16-bit numbers.
ONDRIX_INLINE Ints multiplyPairs(Ints a, Ints b) {
    return (a << 16 >> 16) * (b << 16 >> 16) + (a >> 16) * (b >> 16);
}

/// The upper 16 bits of the products of unsigned halves.
ONDRIX_INLINE Ints multiplyHigh(Ints a, Ints b) {
    Halves result{};
    for (int i = 0; i < 2 * count; i++) {
        const auto x = static_cast<std::uint16_t>(reinterpret_cast<Halves>(a)[i]),
                   y = static_cast<std::uint16_t>(reinterpret_cast<Halves>(b)[i]);
        result[i] = static_cast<std::int16_t>(static_cast<std::uint32_t>(x) * y >> 16);
    }
    return reinterpret_cast<Ints>(result);
}

/// Products of signed halves, one of them not -32768, divided by 32768 and rounded.
ONDRIX_INLINE Ints multiplyRounded(Ints a, Ints b) {
    Halves result{};
    for (int i = 0; i < 2 * count; i++) {
        const int product = reinterpret_cast<Halves>(a)[i] * reinterpret_cast<Halves>(b)[i];
        result[i] = static_cast<std::int16_t>((product + 16384) >> 15);
    }
    return reinterpret_cast<Ints>(result);
}

/// Sums of signed halves, limited to their range.
ONDRIX_INLINE Ints addSaturating(Ints a, Ints b) {
    Halves result{};
    for (int i = 0; i < 2 * count; i++) {
        const int sum = reinterpret_cast<Halves>(a)[i] + reinterpret_cast<Halves>(b)[i];
        result[i] = static_cast<std::int16_t>(sum < -32768 ? -32768 : sum > 32767 ? 32767 : sum);
    }
    return reinterpret_cast<Ints>(result);
}

/// Every second word of 2 * count words, and those between them.
ONDRIX_INLINE void loadEvenAndOdd(const std::uint8_t* p, Ints& even, Ints& odd) {
    for (int i = 0; i < count; i++) {
        std::int32_t words[2];
        std::memcpy(words, p + 8 * i, 8);
        even[i] = words[0];
        odd[i] = words[1];
    }
}

/// Unsigned bytes of `a` times signed bytes of `b`, the products of every two neighbours added, as signed halves that
/// must hold them.
ONDRIX_INLINE Ints multiplyBytePairs(Ints a, Ints b) {
    Halves result{};
    const auto product = [&](int i) __attribute__((always_inline)) {
        return static_cast<std::uint8_t>(reinterpret_cast<Bytes>(a)[i]) * reinterpret_cast<Bytes>(b)[i];
    };
    for (int i = 0; i < 2 * count; i++) result[i] = static_cast<std::int16_t>(product(2 * i) + product(2 * i + 1));
    return reinterpret_cast<Ints>(result);
}

/// Four times as many numbers of 0 to 255 as bytes: of every four lanes, those of `a`, then those of `b`, `c` and `d`.
ONDRIX_INLINE Ints packWords(Ints a, Ints b, Ints c, Ints d) {
    Bytes result{};
    for (int i = 0; i < 4 * count; i++) {
        const Ints from = i % 16 < 4 ? a : i % 16 < 8 ? b : i % 16 < 12 ? c : d;
        result[i] = static_cast<std::int8_t>(from[i / 16 * 4 + i % 4]);
    }
    return reinterpret_cast<Ints>(result);
}

/// Words of the 2 * count at `p`, numbered by the lowest bits of each lane.
ONDRIX_INLINE Ints pickWords(const std::uint8_t* p, Ints index) {
    return gather(p, index & (2 * count - 1));
}

}  // namespace ondrix::shading::lanes
