#pragma once

#include <ondrix/shading/Lanes.h>

/// Sixteen lanes, AVX-512 with the BW, DQ and VL extensions. LanesPortable.h says what each function means.
namespace ondrix::shading::lanes {

ONDRIX_INLINE Floats floor(Floats f) {
    return reinterpret_cast<Floats>(
        _mm512_roundscale_ps(reinterpret_cast<__m512>(f), _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC));
}
ONDRIX_INLINE Floats squareRoot(Floats f) {
    return reinterpret_cast<Floats>(_mm512_sqrt_ps(reinterpret_cast<__m512>(f)));
}
ONDRIX_INLINE Ints truncate(Floats f) {
    return reinterpret_cast<Ints>(_mm512_cvttps_epi32(reinterpret_cast<__m512>(f)));
}

ONDRIX_INLINE Ints floorOfLine(double start, double step, Ints column) {
    const auto half = [&](__m256i columns) __attribute__((always_inline)) {
        const __m512d limit = _mm512_set1_pd(1 << 30);
        __m512d d =
            _mm512_add_pd(_mm512_set1_pd(start), _mm512_mul_pd(_mm512_cvtepi32_pd(columns), _mm512_set1_pd(step)));
        d = _mm512_min_pd(_mm512_max_pd(d, _mm512_sub_pd(_mm512_setzero_pd(), limit)), limit);
        return _mm512_cvtpd_epi32(_mm512_roundscale_pd(d, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC));
    };
    const auto columns = reinterpret_cast<__m512i>(column);
    return reinterpret_cast<Ints>(_mm512_inserti64x4(_mm512_castsi256_si512(half(_mm512_castsi512_si256(columns))),
                                                     half(_mm512_extracti64x4_epi64(columns, 1)), 1));
}

ONDRIX_INLINE Ints gather(const void* base, Ints index) {
    return reinterpret_cast<Ints>(_mm512_i32gather_epi32(reinterpret_cast<__m512i>(index), base, 4));
}

ONDRIX_INLINE void gatherPairs(const void* base, Ints index, Ints& first, Ints& second) {
    const auto indices = reinterpret_cast<__m512i>(index);
    const __m512i low = _mm512_i32gather_epi64(_mm512_castsi512_si256(indices), base, 4);
    const __m512i high = _mm512_i32gather_epi64(_mm512_extracti64x4_epi64(indices, 1), base, 4);
    const __m512i evens = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const __m512i odds = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    first = reinterpret_cast<Ints>(_mm512_permutex2var_epi32(low, evens, high));
    second = reinterpret_cast<Ints>(_mm512_permutex2var_epi32(low, odds, high));
}

ONDRIX_INLINE void streamWords(std::uint8_t* p, Ints v) {
    _mm512_stream_si512(reinterpret_cast<__m512i*>(p), reinterpret_cast<__m512i>(v));
}
ONDRIX_INLINE void finishStreaming() {
    _mm_sfence();
}

ONDRIX_INLINE Ints loadBytes(const std::uint8_t* p) {
    return reinterpret_cast<Ints>(_mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}

ONDRIX_INLINE Ints loadBytePairsTwice(const std::uint8_t* p) {
    const __m256i pairs = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    const __m512i twice = _mm512_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7);
    return reinterpret_cast<Ints>(_mm512_permutexvar_epi32(twice, _mm512_castsi256_si512(pairs)));
}

template <int k>
ONDRIX_INLINE Ints byteOf(Ints v) {
    const __m128i pattern = _mm_setr_epi8(k, -1, -1, -1, k + 4, -1, -1, -1, k + 8, -1, -1, -1, k + 12, -1, -1, -1);
    return reinterpret_cast<Ints>(_mm512_shuffle_epi8(reinterpret_cast<__m512i>(v), _mm512_broadcast_i32x4(pattern)));
}

ONDRIX_INLINE Ints packBytes(Ints first, Ints second, Ints third, Ints fourth) {
    const __m512i low = _mm512_packs_epi32(reinterpret_cast<__m512i>(first), reinterpret_cast<__m512i>(second));
    const __m512i high = _mm512_packs_epi32(reinterpret_cast<__m512i>(third), reinterpret_cast<__m512i>(fourth));
    const __m128i pattern = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return reinterpret_cast<Ints>(_mm512_shuffle_epi8(_mm512_packus_epi16(low, high), _mm512_broadcast_i32x4(pattern)));
}

ONDRIX_INLINE Ints multiplyPairs(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm512_madd_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}

ONDRIX_INLINE Ints multiplyHalves(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm512_mullo_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}

ONDRIX_INLINE Ints multiplyHigh(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm512_mulhi_epu16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}

ONDRIX_INLINE Ints multiplyRounded(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm512_mulhrs_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}

ONDRIX_INLINE Ints addSaturating(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm512_adds_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}

ONDRIX_INLINE void loadEvenAndOdd(const std::uint8_t* p, Ints& even, Ints& odd) {
    const __m512i low = _mm512_loadu_si512(p), high = _mm512_loadu_si512(p + 64);
    const __m512i evens = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const __m512i odds = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    even = reinterpret_cast<Ints>(_mm512_permutex2var_epi32(low, evens, high));
    odd = reinterpret_cast<Ints>(_mm512_permutex2var_epi32(low, odds, high));
}

ONDRIX_INLINE void blendRows(const std::uint8_t* above, const std::uint8_t* below, int weightBelow,
                             std::uint16_t* blended, int bytes) {
    const __m512i w1 = _mm512_set1_epi16(static_cast<short>(weightBelow));
    const __m512i w0 = _mm512_set1_epi16(static_cast<short>(256 - weightBelow));
    const __m512i bias = _mm512_set1_epi16(-32768);
    int i = 0;
    for (; i + 32 <= bytes; i += 32) {
        fetchToRead(above + i);
        fetchToRead(below + i);
        const __m512i a = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(above + i)));
        const __m512i b = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(below + i)));
        const __m512i sum = _mm512_add_epi16(_mm512_mullo_epi16(a, w0), _mm512_mullo_epi16(b, w1));
        _mm512_storeu_si512(blended + i, _mm512_add_epi16(sum, bias));
    }
    for (; i < bytes; i++) {
        blended[i] = static_cast<std::uint16_t>(above[i] * (256 - weightBelow) + below[i] * weightBelow + 32768);
    }
}

/// Element k holds the pixels 4k to 4k + 3.
struct PixelSums {
    __m512i parts[4];
};

/// When `compact`, each group of four pixels reads from eight neighbouring columns, and `permutation` (eight numbers a
/// pixel) picks from these.
ONDRIX_INLINE PixelSums blendColumns(const std::uint16_t* blended, const std::int32_t* columns,
                                     const std::int32_t* weights, const std::uint16_t* permutation, bool compact) {
    const __m512i bias = _mm512_set1_epi32(32768 * 256), allWeights = _mm512_loadu_si512(weights);
    const __m512i spread = _mm512_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
    const auto start = [&](int i) __attribute__((always_inline)) {
        return blended + 4 * static_cast<std::int64_t>(columns[i]);
    };
    PixelSums sums;
    for (int i = 0; i < 4; i++) {
        __m512i pairs;
        if (__builtin_expect(compact, 1)) {
            pairs =
                _mm512_permutexvar_epi16(_mm512_loadu_si512(permutation + 32 * i), _mm512_loadu_si512(start(4 * i)));
        } else {
            const auto pixel = [&](int k) __attribute__((always_inline)) {
                return _mm_loadu_si128(reinterpret_cast<const __m128i*>(start(4 * i + k)));
            };
            const __m512i pixels = _mm512_inserti32x4(
                _mm512_inserti32x4(_mm512_inserti32x4(_mm512_castsi128_si512(pixel(0)), pixel(1), 1), pixel(2), 2),
                pixel(3), 3);
            pairs = _mm512_shuffle_epi8(
                pixels, _mm512_broadcast_i32x4(_mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15)));
        }
        const __m512i weight = _mm512_permutexvar_epi32(_mm512_add_epi32(spread, _mm512_set1_epi32(4 * i)), allWeights);
        sums.parts[i] = _mm512_add_epi32(_mm512_madd_epi16(pairs, weight), bias);
    }
    return sums;
}

/// Unpacking takes one pixel of each quarter in turn; this puts them back in order.
ONDRIX_INLINE Ints inOrder(__m512i v) {
    const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return reinterpret_cast<Ints>(_mm512_permutexvar_epi32(order, v));
}

ONDRIX_INLINE void transpose(const PixelSums& sums, Ints& first, Ints& second, Ints& third, Ints& fourth) {
    const __m512i t0 = _mm512_unpacklo_epi32(sums.parts[0], sums.parts[1]);
    const __m512i t1 = _mm512_unpackhi_epi32(sums.parts[0], sums.parts[1]);
    const __m512i t2 = _mm512_unpacklo_epi32(sums.parts[2], sums.parts[3]);
    const __m512i t3 = _mm512_unpackhi_epi32(sums.parts[2], sums.parts[3]);
    first = inOrder(_mm512_unpacklo_epi64(t0, t2));
    second = inOrder(_mm512_unpackhi_epi64(t0, t2));
    third = inOrder(_mm512_unpacklo_epi64(t1, t3));
    fourth = inOrder(_mm512_unpackhi_epi64(t1, t3));
}

ONDRIX_INLINE Ints roundSums(const PixelSums& sums) {
    const __m512i half = _mm512_set1_epi32(32768);
    const auto upperHalves = [&](int i) __attribute__((always_inline)) {
        const __m512i low = _mm512_srli_epi32(_mm512_add_epi32(sums.parts[i], half), 16);
        return _mm512_mask_blend_epi16(0xaaaaaaaa, low, _mm512_add_epi32(sums.parts[i + 1], half));
    };
    const __m128i pattern = _mm_setr_epi8(0, 2, 4, 6, 1, 3, 5, 7, 8, 10, 12, 14, 9, 11, 13, 15);
    return inOrder(
        _mm512_shuffle_epi8(_mm512_packus_epi16(upperHalves(0), upperHalves(2)), _mm512_broadcast_i32x4(pattern)));
}

}  // namespace ondrix::shading::lanes
