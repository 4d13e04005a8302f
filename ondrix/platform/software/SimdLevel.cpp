#include <ondrix/platform/software/SimdLevel.h>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace ondrix::software {

namespace {

bool always() {
    return true;
}

#if defined(__x86_64__)

/// The features that the compiler's own test doesn't know by name. The operating system's part in them is the saving
/// of vector registers, which the test of "avx2" covers.
struct ExtraFeatures {
    bool cmpxchg16b = false, movbe = false, f16c = false, lahf = false, lzcnt = false;
};

ExtraFeatures extraFeatures() {
    ExtraFeatures features;
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d) != 0) {
        features.cmpxchg16b = (c & (1u << 13)) != 0;
        features.movbe = (c & (1u << 22)) != 0;
        features.f16c = (c & (1u << 29)) != 0;
    }
    if (__get_cpuid(0x80000001u, &a, &b, &c, &d) != 0) {
        features.lahf = (c & 1u) != 0;
        features.lzcnt = (c & (1u << 5)) != 0;
    }
    return features;
}

bool supportsVersion2() {
    const ExtraFeatures extra = extraFeatures();
    return __builtin_cpu_supports("sse3") && __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("sse4.1") &&
           __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("popcnt") && extra.cmpxchg16b && extra.lahf;
}

bool supportsVersion3() {
    const ExtraFeatures extra = extraFeatures();
    return supportsVersion2() && __builtin_cpu_supports("avx") && __builtin_cpu_supports("avx2") &&
           __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("fma") &&
           extra.f16c && extra.lzcnt && extra.movbe;
}

bool supportsVersion4() {
    return supportsVersion3() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
           __builtin_cpu_supports("avx512vl");
}

constexpr SimdLevel levels[] = {{"x86-64-v4", supportsVersion4},
                                {"x86-64-v3", supportsVersion3},
                                {"x86-64-v2", supportsVersion2},
                                {"plain", always}};
#else
constexpr SimdLevel levels[] = {{"vector128", always}, {"plain", always}};
#endif

}  // namespace

std::span<const SimdLevel> simdLevels() noexcept {
    return levels;
}

}  // namespace ondrix::software
