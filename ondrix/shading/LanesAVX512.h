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

ONDRIX_INLINE Ints joined(const Four (&parts)[4]) {
    const auto half = [&](int i) __attribute__((always_inline)) {
        return _mm256_set_m128i(reinterpret_cast<__m128i>(parts[i + 1]), reinterpret_cast<__m128i>(parts[i]));
    };
    return reinterpret_cast<Ints>(_mm512_inserti64x4(_mm512_castsi256_si512(half(0)), half(2), 1));
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

/// A pattern of 16 bytes, repeated to a whole register. It lies in memory in full, because compilers repeat a shorter
/// one again and again wherever there may be a call between two uses.
struct BytePattern {
    alignas(64) std::int8_t bytes[64];

    constexpr BytePattern(const std::int8_t (&pattern)[16]) : bytes{} {
        for (int i = 0; i < 64; i++) bytes[i] = pattern[i % 16];
    }
    ONDRIX_INLINE __m512i load() const { return _mm512_load_si512(bytes); }
};
template <int k>
inline constexpr BytePattern byteOfWords({k, -1, -1, -1, k + 4, -1, -1, -1, k + 8, -1, -1, -1, k + 12, -1, -1, -1});
inline constexpr BytePattern bytesInTurn({0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15});

template <int k>
ONDRIX_INLINE Ints byteOf(Ints v) {
    return reinterpret_cast<Ints>(_mm512_shuffle_epi8(reinterpret_cast<__m512i>(v), byteOfWords<k>.load()));
}

ONDRIX_INLINE Ints packBytes(Ints first, Ints second, Ints third, Ints fourth) {
    const __m512i low = _mm512_packs_epi32(reinterpret_cast<__m512i>(first), reinterpret_cast<__m512i>(second));
    const __m512i high = _mm512_packs_epi32(reinterpret_cast<__m512i>(third), reinterpret_cast<__m512i>(fourth));
    return reinterpret_cast<Ints>(_mm512_shuffle_epi8(_mm512_packus_epi16(low, high), bytesInTurn.load()));
}

ONDRIX_INLINE Ints multiplyPairs(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm512_madd_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
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

ONDRIX_INLINE Ints multiplyBytePairs(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm512_maddubs_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
}

ONDRIX_INLINE Ints packWords(Ints a, Ints b, Ints c, Ints d) {
    const __m512i low = _mm512_packs_epi32(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b));
    const __m512i high = _mm512_packs_epi32(reinterpret_cast<__m512i>(c), reinterpret_cast<__m512i>(d));
    return reinterpret_cast<Ints>(_mm512_packus_epi16(low, high));
}

ONDRIX_INLINE Ints pickWords(const std::uint8_t* p, Ints index) {
    return reinterpret_cast<Ints>(
        _mm512_permutex2var_epi32(_mm512_loadu_si512(p), reinterpret_cast<__m512i>(index), _mm512_loadu_si512(p + 64)));
}

}  // namespace ondrix::shading::lanes
