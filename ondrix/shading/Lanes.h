#pragma once

#include <cstdint>
#include <cstring>

#if !defined(ONDRIX_PLAIN) && defined(__SSSE3__)
#include <immintrin.h>
#endif

/// Keeps a function's body where it is used: packs live in registers only as long as nothing is called.
#define ONDRIX_INLINE inline __attribute__((always_inline))

/// The compiler's vector types, one element a lane, and the few operations on them that need their own spelling for
/// each instruction set. Nothing outside the shading headers names anything in here.
namespace ondrix::shading::lanes {

#if defined(ONDRIX_PLAIN)
inline constexpr int count = 1;
#elif defined(__AVX512BW__)
inline constexpr int count = 16;
#elif defined(__AVX2__)
inline constexpr int count = 8;
#else
inline constexpr int count = 4;
#endif

/// The plain level has packs of one lane and takes no shortcut; every other level must give the same bits.
#if defined(ONDRIX_PLAIN)
inline constexpr bool plain = true;
#else
inline constexpr bool plain = false;
#endif

// The attribute's size must be written out for each type; `aligned(1), may_alias` makes the types for unaligned memory.
typedef float Floats __attribute__((vector_size(count * 4)));
typedef std::int32_t Ints __attribute__((vector_size(count * 4)));
typedef std::uint32_t UInts __attribute__((vector_size(count * 4)));
typedef std::int16_t Halves __attribute__((vector_size(count * 4)));
typedef std::int8_t Bytes __attribute__((vector_size(count * 4)));
typedef double Doubles __attribute__((vector_size(count * 8)));
typedef std::uint16_t ShortsInMemory __attribute__((vector_size(count * 2), aligned(1), may_alias));
typedef std::uint8_t BytesInMemory __attribute__((vector_size(count), aligned(1), may_alias));
typedef std::int32_t Four __attribute__((vector_size(16)));
typedef float FloatsInMemory __attribute__((vector_size(count * 4), aligned(1), may_alias));
typedef std::int32_t IntsInMemory __attribute__((vector_size(count * 4), aligned(1), may_alias));

ONDRIX_INLINE Floats load(const float* p) {
    return *reinterpret_cast<const FloatsInMemory*>(p);
}
ONDRIX_INLINE Ints load(const std::int32_t* p) {
    return *reinterpret_cast<const IntsInMemory*>(p);
}
ONDRIX_INLINE Ints loadWords(const std::uint8_t* p) {
    return *reinterpret_cast<const IntsInMemory*>(p);
}
/// Two bytes a lane.
ONDRIX_INLINE Ints loadShorts(const std::uint8_t* p) {
    return __builtin_convertvector(*reinterpret_cast<const ShortsInMemory*>(p), Ints);
}
/// The lowest byte or two bytes of each lane.
ONDRIX_INLINE void storeBytes(std::uint8_t* p, Ints v) {
    *reinterpret_cast<BytesInMemory*>(p) = __builtin_convertvector(v, BytesInMemory);
}
ONDRIX_INLINE void storeShorts(std::uint8_t* p, Ints v) {
    *reinterpret_cast<ShortsInMemory*>(p) = __builtin_convertvector(v, ShortsInMemory);
}
ONDRIX_INLINE void store(float* p, Floats v) {
    *reinterpret_cast<FloatsInMemory*>(p) = v;
}
ONDRIX_INLINE void store(std::int32_t* p, Ints v) {
    *reinterpret_cast<IntsInMemory*>(p) = v;
}
ONDRIX_INLINE void storeWords(std::uint8_t* p, Ints v) {
    *reinterpret_cast<IntsInMemory*>(p) = v;
}

/// How far ahead of the work memory is prefetched, in bytes. The processor's own prefetching is too late where much is
/// computed for each line of its cache.
inline constexpr int fetchAhead = 2048;
/// Asks the processor to load what lies `fetchAhead` bytes after `p` into its caches. Nothing is accessed: the address
/// may lie outside of all memory.
ONDRIX_INLINE void fetchToRead(const std::uint8_t* p) {
    if (!plain) __builtin_prefetch(p + fetchAhead);
}
ONDRIX_INLINE void fetchToWrite([[maybe_unused]] const std::uint8_t* p) {
#if defined(__x86_64__) && !defined(ONDRIX_PLAIN)
    asm volatile("prefetchw %0" : : "m"(p[fetchAhead]));  // no operation where a processor lacks it
#else
    if (!plain) __builtin_prefetch(p + fetchAhead, 1);
#endif
}

ONDRIX_INLINE Floats broadcast(float f) {
    return f - Floats{};  // f - 0 is f, also for a negative zero, so compilers compute nothing
}
ONDRIX_INLINE Ints broadcast(std::int32_t i) {
    return Ints{} + i;
}

alignas(64) inline constexpr std::int32_t indices[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
/// 0, 1, 2, ...
ONDRIX_INLINE Ints iota() {
    return load(indices);
}

ONDRIX_INLINE Ints smaller(Ints a, Ints b) {
    return a < b ? a : b;
}
ONDRIX_INLINE Ints larger(Ints a, Ints b) {
    return a > b ? a : b;
}
template <int bits>
ONDRIX_INLINE Ints shiftRightLogical(Ints a) {
    return reinterpret_cast<Ints>(reinterpret_cast<UInts>(a) >> bits);
}

}  // namespace ondrix::shading::lanes

#if defined(ONDRIX_PLAIN) || !defined(__SSSE3__)
#include <ondrix/shading/LanesPortable.h>
#elif defined(__AVX512BW__)
#include <ondrix/shading/LanesAVX512.h>
#elif defined(__AVX2__)
#include <ondrix/shading/LanesAVX2.h>
#else
#include <ondrix/shading/LanesSSE.h>
#endif

#include <ondrix/shading/LanesHalves.h>
