#include <cmath>

#include <ondrix/types/ImageRotation.h>

namespace ondrix {

namespace {

// Degrees times 3.1415925f, the single-precision value below pi. Volatile, because a compiler that folds the division,
// sine or cosine rounds differently from the library at run time.
const volatile float degreesTimesPi[] = {0.0f, 282.74332f, 565.48663f, 848.22998f};

}  // namespace

Int rawValue(ImageRotation rotation) noexcept {
    return static_cast<Int>(rotation) * 90;
}

std::optional<ImageRotation> makeImageRotation(Int rawValue) noexcept {
    if (rawValue < 0 || rawValue > 270 || rawValue % 90 != 0) return std::nullopt;
    return static_cast<ImageRotation>(rawValue / 90);
}

SineCosine sineCosine(ImageRotation rotation) noexcept {
    const float radians = degreesTimesPi[static_cast<std::size_t>(rotation)] / 180.0f;
    return {std::sin(radians), std::cos(radians)};
}

simd_float2x2 matrix(ImageRotation rotation) noexcept {
    const auto [sine, cosine] = sineCosine(rotation);
    return {{{cosine, -sine}, {sine, cosine}}};
}

}  // namespace ondrix
