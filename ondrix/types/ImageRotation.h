#pragma once

#include <functional>
#include <optional>

#include <ondrix/platform/simd/simd.h>
#include <ondrix/types/Int.h>

namespace ondrix {

/// A turn of an image by quarter turns, clockwise as seen on screen.
enum class ImageRotation : unsigned char {
    degrees0,
    degrees90,
    degrees180,
    degrees270,
};

/// Degrees: 0, 90, 180 or 270.
[[nodiscard]] Int rawValue(ImageRotation rotation) noexcept;
/// Absent for every value but 0, 90, 180 and 270; nothing is taken modulo 360.
[[nodiscard]] std::optional<ImageRotation> makeImageRotation(Int rawValue) noexcept;

/// Sine and cosine of one angle.
struct SineCosine {
    float sine;
    float cosine;
};

/// Of the rotation's angle in radians, which is rounded: entries that are 0 in theory are of the order of 1e-7. Always
/// calculated at run time in single precision, so that every user of a rotation gets the same bits.
[[nodiscard]] SineCosine sineCosine(ImageRotation rotation) noexcept;

/// Turns a column vector (x, y), y upward: columns (c, -s) and (s, c).
[[nodiscard]] simd_float2x2 matrix(ImageRotation rotation) noexcept;

}  // namespace ondrix

template <>
struct std::hash<ondrix::ImageRotation> {
    std::size_t operator()(ondrix::ImageRotation value) const noexcept {
        return std::hash<ondrix::Int>{}(ondrix::rawValue(value));
    }
};
