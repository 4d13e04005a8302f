#pragma once

#include <ondrix/shading/Lanes.h>

/// Four lanes, SSE 4.1 and SSSE3. LanesPortable.h says what each function means.
namespace ondrix::shading::lanes {

ONDRIX_INLINE Floats floor(Floats f) {
    return reinterpret_cast<Floats>(_mm_floor_ps(reinterpret_cast<__m128>(f)));
}
ONDRIX_INLINE Floats squareRoot(Floats f) {
    return reinterpret_cast<Floats>(_mm_sqrt_ps(reinterpret_cast<__m128>(f)));
}
ONDRIX_INLINE Ints truncate(Floats f) {
    return reinterpret_cast<Ints>(_mm_cvttps_epi32(reinterpret_cast<__m128>(f)));
}

ONDRIX_INLINE Ints floorOfLine(double start, double step, Ints column) {
    const auto half = [&](__m128i columns) __attribute__((always_inline)) {
        const __m128d limit = _mm_set1_pd(1 << 30);
        __m128d d = _mm_add_pd(_mm_set1_pd(start), _mm_mul_pd(_mm_cvtepi32_pd(columns), _mm_set1_pd(step)));
        d = _mm_min_pd(_mm_max_pd(d, _mm_sub_pd(_mm_setzero_pd(), limit)), limit);
        return _mm_cvtpd_epi32(_mm_floor_pd(d));
    };
    const auto columns = reinterpret_cast<__m128i>(column);
    return reinterpret_cast<Ints>(_mm_unpacklo_epi64(half(columns), half(_mm_unpackhi_epi64(columns, columns))));
}

ONDRIX_INLINE Ints gather(const void* base, Ints index) {
    const auto word = [base](std::int32_t i) __attribute__((always_inline)) {
        std::int32_t w;
        std::memcpy(&w, static_cast<const std::uint8_t*>(base) + 4 * static_cast<std::int64_t>(i), 4);
        return w;
    };
    return Ints{word(index[0]), word(index[1]), word(index[2]), word(index[3])};
}

ONDRIX_INLINE void gatherPairs(const void* base, Ints index, Ints& first, Ints& second) {
    const auto pair = [&](int i) __attribute__((always_inline)) {
        return reinterpret_cast<const __m128i*>(static_cast<const std::uint8_t*>(base) +
                                                4 * static_cast<std::int64_t>(index[i]));
    };
    const auto pairs = [&](int i) __attribute__((always_inline)) {
        return _mm_unpacklo_epi32(_mm_loadl_epi64(pair(i)), _mm_loadl_epi64(pair(i + 1)));
    };
    const __m128i low = pairs(0), high = pairs(2);
    first = reinterpret_cast<Ints>(_mm_unpacklo_epi64(low, high));
    second = reinterpret_cast<Ints>(_mm_unpackhi_epi64(low, high));
}

ONDRIX_INLINE Ints joined(const Four (&parts)[1]) {
    return parts[0];
}

ONDRIX_INLINE void streamWords(std::uint8_t* p, Ints v) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(p), reinterpret_cast<__m128i>(v));
}
ONDRIX_INLINE void finishStreaming() {
    _mm_sfence();
}

ONDRIX_INLINE Ints loadBytes(const std::uint8_t* p) {
    std::int32_t bytes;
    std::memcpy(&bytes, p, 4);
    return reinterpret_cast<Ints>(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes)));
}

ONDRIX_INLINE Ints loadBytePairsTwice(const std::uint8_t* p) {
    std::int32_t bytes;
    std::memcpy(&bytes, p, 4);
    const __m128i pairs = _mm_cvtsi32_si128(bytes);
    return reinterpret_cast<Ints>(_mm_cvtepu8_epi16(_mm_unpacklo_epi16(pairs, pairs)));
}

template <int k>
ONDRIX_INLINE Ints byteOf(Ints v) {
    return reinterpret_cast<Ints>(
        _mm_shuffle_epi8(reinterpret_cast<__m128i>(v),
                         _mm_setr_epi8(k, -1, -1, -1, k + 4, -1, -1, -1, k + 8, -1, -1, -1, k + 12, -1, -1, -1)));
}

ONDRIX_INLINE Ints packBytes(Ints first, Ints second, Ints third, Ints fourth) {
    const __m128i low = _mm_packs_epi32(reinterpret_cast<__m128i>(first), reinterpret_cast<__m128i>(second));
    const __m128i high = _mm_packs_epi32(reinterpret_cast<__m128i>(third), reinterpret_cast<__m128i>(fourth));
    return reinterpret_cast<Ints>(_mm_shuffle_epi8(
        _mm_packus_epi16(low, high), _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15)));
}

ONDRIX_INLINE Ints multiplyPairs(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm_madd_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}

ONDRIX_INLINE Ints multiplyHigh(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm_mulhi_epu16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}

ONDRIX_INLINE Ints multiplyRounded(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm_mulhrs_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}

ONDRIX_INLINE Ints addSaturating(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm_adds_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}

ONDRIX_INLINE void loadEvenAndOdd(const std::uint8_t* p, Ints& even, Ints& odd) {
    const __m128 low = _mm_loadu_ps(reinterpret_cast<const float*>(p));
    const __m128 high = _mm_loadu_ps(reinterpret_cast<const float*>(p + 16));
    even = reinterpret_cast<Ints>(_mm_shuffle_ps(low, high, 0x88));
    odd = reinterpret_cast<Ints>(_mm_shuffle_ps(low, high, 0xdd));
}

ONDRIX_INLINE Ints multiplyBytePairs(Ints a, Ints b) {
    return reinterpret_cast<Ints>(_mm_maddubs_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
}

ONDRIX_INLINE Ints packWords(Ints a, Ints b, Ints c, Ints d) {
    const __m128i low = _mm_packs_epi32(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b));
    const __m128i high = _mm_packs_epi32(reinterpret_cast<__m128i>(c), reinterpret_cast<__m128i>(d));
    return reinterpret_cast<Ints>(_mm_packus_epi16(low, high));
}

ONDRIX_INLINE Ints pickWords(const std::uint8_t* p, Ints index) {
    return gather(p, index & (2 * count - 1));
}

}  // namespace ondrix::shading::lanes
