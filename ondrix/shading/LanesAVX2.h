#pragma once

#include <ondrix/shading/Lanes.h>

/// Eight lanes, AVX2. LanesPortable.h says what each function means.
namespace ondrix::shading::lanes {

ONDRIX_INLINE Floats floor(Floats f) {
    return reinterpret_cast<Floats>(_mm256_floor_ps(reinterpret_cast<__m256>(f)));
}
ONDRIX_INLINE Floats squareRoot(Floats f) {
    return reinterpret_cast<Floats>(_mm256_sqrt_ps(reinterpret_cast<__m256>(f)));
}
ONDRIX_INLINE Ints truncate(Floats f) {
    return reinterpret_cast<Ints>(_mm256_cvttps_epi32(reinterpret_cast<__m256>(f)));
}

ONDRIX_INLINE Ints floorOfLine(double start, double step, Ints column) {
    const auto half = [&](__m128i columns) __attribute__((always_inline)) {
        const __m256d limit = _mm256_set1_pd(1 << 30);
        __m256d d =
            _mm256_add_pd(_mm256_set1_pd(start), _mm256_mul_pd(_mm256_cvtepi32_pd(columns), _mm256_set1_pd(step)));
        d = _mm256_min_pd(_mm256_max_pd(d, _mm256_sub_pd(_mm256_setzero_pd(), limit)), limit);
        return _mm256_cvtpd_epi32(_mm256_floor_pd(d));
    };
    const auto columns = reinterpret_cast<__m256i>(column);
    return reinterpret_cast<Ints>(_mm256_inserti128_si256(_mm256_castsi128_si256(half(_mm256_castsi256_si128(columns))),
                                                          half(_mm256_extracti128_si256(columns, 1)), 1));
}

ONDRIX_INLINE Ints gather(const void* base, Ints index) {
    return reinterpret_cast<Ints>(
        _mm256_i32gather_epi32(static_cast<const int*>(base), reinterpret_cast<__m256i>(index), 4));
}

ONDRIX_INLINE void gatherPairs(const void* base, Ints index, Ints& first, Ints& second) {
    const auto pair = [&](int i) __attribute__((always_inline)) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(static_cast<const std::uint8_t*>(base) +
                                                                4 * static_cast<std::int64_t>(index[i])));
    };
    const auto four = [&](int i) __attribute__((always_inline)) {
        const __m128i low = _mm_unpacklo_epi32(pair(i), pair(i + 1)),
                      high = _mm_unpacklo_epi32(pair(i + 2), pair(i + 3));
        return _mm256_set_m128i(_mm_unpackhi_epi64(low, high), _mm_unpacklo_epi64(low, high));
    };
    const __m256i low = four(0), high = four(4);
    first = reinterpret_cast<Ints>(_mm256_permute2x128_si256(low, high, 0x20));
    second = reinterpret_cast<Ints>(_mm256_permute2x128_si256(low, high, 0x31));
}

ONDRIX_INLINE Ints joined(const Four (&parts)[2]) {
    return reinterpret_cast<Ints>(
        _mm256_set_m128i(reinterpret_cast<__m128i>(parts[1]), reinterpret_cast<__m128i>(parts[0])));
}

ONDRIX_INLINE void streamWords(std::uint8_t* p, Ints v) {
    _mm256_stream_si256(reinterpret_cast<__m256i*>(p), reinterpret_cast<__m256i>(v));
}
ONDRIX_INLINE void finishStreaming() {
    _mm_sfence();
}

ONDRIX_INLINE Ints loadBytes(const std::uint8_t* p) {
    return reinterpret_cast<Ints>(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}

ONDRIX_INLINE Ints loadBytePairsTwice(const std::uint8_t* p) {
    const __m128i pairs = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return reinterpret_cast<Ints>(_mm256_cvtepu8_epi16(_mm_unpacklo_epi16(pairs, pairs)));
}

template <int k>
ONDRIX_INLINE Ints byteOf(Ints v) {
    const __m128i pattern = _mm_setr_epi8(k, -1, -1, -1, k + 4, -1, -1, -1, k + 8, -1, -1, -1, k + 12, -1, -1, -1);
    return reinterpret_cast<Ints>(
        _mm256_shuffle_epi8(reinterpret_cast<__m256i>(v), _mm256_broadcastsi128_si256(pattern)));
}

ONDRIX_INLINE Ints packBytes(Ints first, Ints second, Ints third, Ints fourth) {
    const __m256i low = _mm256_packs_epi32(reinterpret_cast<__m256i>(first), reinterpret_cast<__m256i>(second));
    const __m256i high = _mm256_packs_epi32(reinterpret_cast<__m256i>(third), reinterpret_cast<__m256i>(fourth));
    const __m128i pattern = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return reinterpret_cast<Ints>(
        _mm256_shuffle_epi8(_mm256_packus_epi16(low, high), _mm256_broadcastsi128_si256(pattern)));
}

ONDRIX_INLINE Ints multiplyPairs(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm256_madd_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}

ONDRIX_INLINE Ints multiplyHigh(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm256_mulhi_epu16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}

ONDRIX_INLINE Ints multiplyRounded(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm256_mulhrs_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}

ONDRIX_INLINE Ints addSaturating(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm256_adds_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}

ONDRIX_INLINE void loadEvenAndOdd(const std::uint8_t* p, Ints& even, Ints& odd) {
    const __m256 low = _mm256_loadu_ps(reinterpret_cast<const float*>(p));
    const __m256 high = _mm256_loadu_ps(reinterpret_cast<const float*>(p + 32));
    const auto ordered = [](__m256 v) __attribute__((always_inline)) {
        return reinterpret_cast<Ints>(_mm256_permute4x64_epi64(_mm256_castps_si256(v), 0xd8));
    };
    even = ordered(_mm256_shuffle_ps(low, high, 0x88));
    odd = ordered(_mm256_shuffle_ps(low, high, 0xdd));
}

ONDRIX_INLINE Ints multiplyBytePairs(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm256_maddubs_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
}

ONDRIX_INLINE Ints packWords(Ints a, Ints b, Ints c, Ints d) {
    const __m256i low = _mm256_packs_epi32(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b));
    const __m256i high = _mm256_packs_epi32(reinterpret_cast<__m256i>(c), reinterpret_cast<__m256i>(d));
    return reinterpret_cast<Ints>(_mm256_packus_epi16(low, high));
}

ONDRIX_INLINE Ints pickWords(const std::uint8_t* p, Ints index) {
    const auto i = reinterpret_cast<__m256i>(index);
    const auto half = [&](int k) __attribute__((always_inline)) {
        const __m256i words = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p) + k);
        return _mm256_castsi256_ps(_mm256_permutevar8x32_epi32(words, i));
    };
    // The lowest three bits number a word of each half, and the fourth, as a sign, the half.
    return reinterpret_cast<Ints>(_mm256_blendv_ps(half(0), half(1), _mm256_castsi256_ps(_mm256_slli_epi32(i, 28))));
}

}  // namespace ondrix::shading::lanes
