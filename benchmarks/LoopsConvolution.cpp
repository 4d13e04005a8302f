#include "Loops.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace ondrix::benchmarks::loops {

#if defined(__x86_64__)

namespace {

constexpr int reach = 2;
constexpr int rows = 2 * reach + 1;
constexpr int pack = 8;
constexpr int pixelsAtOnce = 2 * pack;

/// The rows around the one that is worked on, as numbers, one plane a component, with zeros beyond the edges.
class Planes {
public:
    explicit Planes(const Frame& input)
        : input_(input), stride_(input.width() + 2 * pack), values_(static_cast<std::size_t>(rows * 4 * stride_)) {}

    /// Row `y` of a component; it was loaded and isn't further than `reach` from the latest.
    [[nodiscard]] const float* row(int y, int component) const { return place(y, component); }
    [[nodiscard]] float* place(int y, int component) const {
        return values_.data() + ((y + rows) % rows * 4 + component) * stride_ + pack;
    }

    __attribute__((target("avx2,fma"))) void load(int y) {
        const bool inside = y >= 0 && y < input_.height();
        for (int x = 0; x < input_.width(); x += pack) {
            __m256i words = _mm256_setzero_si256();
            if (inside) words = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(input_.row(y) + 4 * x));
            for (int component = 0; component < 4; ++component) {
                const __m256i level = _mm256_and_si256(words, _mm256_set1_epi32(255));
                _mm256_storeu_ps(place(y, component) + x, _mm256_cvtepi32_ps(level));
                words = _mm256_srli_epi32(words, 8);
            }
        }
    }

private:
    const Frame& input_;
    int stride_;
    mutable std::vector<float> values_;
};

__attribute__((target("avx2,fma"))) inline __m256i levels(__m256 sum) {
    const __m256i rounded = _mm256_cvtps_epi32(sum);
    return _mm256_min_epi32(_mm256_max_epi32(rounded, _mm256_setzero_si256()), _mm256_set1_epi32(255));
}

__attribute__((target("avx2,fma"))) void convolveRow(const Kernel& kernel, const Planes& planes, int y, int width,
                                                     std::uint8_t* out) {
    for (int x = 0; x < width; x += pixelsAtOnce) {
        __m256 left[4] = {}, right[4] = {};
        for (int down = 0; down < rows; ++down) {
            const float* row[4];
            for (int c = 0; c < 4; ++c) row[c] = planes.row(y + down - reach, c) + x - reach;
            for (int across = 0; across < rows; ++across) {
                const __m256 weight = _mm256_broadcast_ss(&kernel.weights[down][across]);
                for (int c = 0; c < 4; ++c) {
                    left[c] = _mm256_fmadd_ps(_mm256_loadu_ps(row[c] + across), weight, left[c]);
                    right[c] = _mm256_fmadd_ps(_mm256_loadu_ps(row[c] + across + pack), weight, right[c]);
                }
            }
        }
        __m256i first = _mm256_setzero_si256(), second = first;
        for (int c = 3; c >= 0; --c) {
            first = _mm256_or_si256(_mm256_slli_epi32(first, 8), levels(left[c]));
            second = _mm256_or_si256(_mm256_slli_epi32(second, 8), levels(right[c]));
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * x), first);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * (x + pack)), second);
    }
}

}  // namespace

bool canConvolve() {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

void convolve(const Kernel& kernel, const Frame& input, Frame& output, int firstRow, int endRow) {
    Planes planes(input);
    for (int y = firstRow - reach; y < firstRow + reach; ++y) planes.load(y);
    for (int y = firstRow; y < endRow; ++y) {
        planes.load(y + reach);
        convolveRow(kernel, planes, y, input.width(), output.row(y));
    }
}

#else

bool canConvolve() {
    return false;
}

void convolve(const Kernel&, const Frame&, Frame&, int, int) {}

#endif

}  // namespace ondrix::benchmarks::loops
