#pragma once

#include <array>
#include <cstdint>
#include <span>

#include <ondrix/shading/Module.h>

namespace ondrix::software {

/// A position in the target in 1/256 pixel, from its top-left corner. Both within ±2^28.
struct SnappedPoint {
    std::int64_t x = 0, y = 0;
};

/// The pixels (x, y) with a * x + b * y + c >= 0.
struct HalfPlane {
    std::int64_t a = 0, b = 0, c = 0;
};

/// The pixels that a primitive covers: those inside the box and inside all half-planes. Integers throughout, so whether
/// a pixel is covered doesn't depend on where the primitive was cut into strips.
///
/// Triangles cover the pixels whose centres they contain; a centre on an edge belongs to the triangle for which it is
/// the top or left edge, so triangles that share an edge cover each pixel exactly once. Both windings are drawn.
///
/// Lines are one pixel thin. One that is at least as wide as high covers in each column whose centre lies in its
/// half-open range, from its start up to but without its end, the pixel that it crosses there; a higher one likewise in
/// each row. So the joints of a line strip are drawn once.
///
/// Points cover the pixel that they lie in.
struct Primitive {
    std::array<HalfPlane, 4> halfPlanes;
    std::int32_t halfPlaneCount = 0;
    std::int32_t x0 = 0, x1 = 0, y0 = 0, y1 = 0;  ///< half-open box; empty when nothing can be covered

    static Primitive triangle(SnappedPoint a, SnappedPoint b, SnappedPoint c) noexcept;
    static Primitive line(SnappedPoint start, SnappedPoint end) noexcept;
    static Primitive point(SnappedPoint position) noexcept;

    [[nodiscard]] bool isEmpty() const noexcept { return x0 >= x1 || y0 >= y1; }
    /// Narrows the box to a target.
    void clamp(std::int32_t width, std::int32_t height) noexcept;
    /// The covered pixels of row `y`, which must lie in the box; empty when x0 >= x1.
    [[nodiscard]] shading::Span span(std::int32_t y) const noexcept;
};

/// Consecutive primitives of one draw that interpolate the same planes, and so are drawn together.
struct PrimitiveGroup {
    /// More would make the search for the spans of a row slow.
    static constexpr int maximumSize = 16;

    shading::FragmentTask task;  ///< without spans and scratch
    void (*run)(const shading::FragmentTask*) = nullptr;
    int first = 0, count = 0;                     ///< primitives
    std::int32_t x0 = 0, x1 = 0, y0 = 0, y1 = 0;  ///< half-open box around them
};

/// Writes the spans of the group's primitives in the rows y0 <= y < y1, in rising order; neighbours are joined. `spans`
/// has room for `maximumSize` spans a row. Returns how many there are.
int collectSpans(std::span<const Primitive> primitives, std::int32_t y0, std::int32_t y1,
                 shading::Span* spans) noexcept;

}  // namespace ondrix::software
