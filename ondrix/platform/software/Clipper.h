#pragma once

#include <array>
#include <cstdint>

#include <ondrix/platform/software/Primitive.h>

namespace ondrix::software {

/// A position in clip space; what is shown has -w <= x, y <= w and 0 <= z <= w.
struct ClipPosition {
    double x = 0, y = 0, z = 0, w = 0;
};

/// Cuts primitives down to what can be projected to a target: the part between the near and the far plane, and within a
/// band around the target that is wide enough for nearly all primitives to need no cutting, yet keeps snapped positions
/// within 2^28. A cut depends only on the two ends of an edge, so primitives that share the edge still share it after.
class Clipper {
public:
    static constexpr int maximumVertices = 9;  ///< of a triangle cut by six planes
    using Polygon = std::array<ClipPosition, maximumVertices>;

    /// Sides of the target in pixels.
    Clipper(std::int32_t width, std::int32_t height) noexcept : halfWidth_(width / 2.0), halfHeight_(height / 2.0) {}

    /// Cuts the convex polygon of the first `count` vertices, or with `count` 2 a line, or tests a point; returns how
    /// many vertices are left, 0 for none.
    [[nodiscard]] int clip(Polygon& polygon, int count) const noexcept;
    /// The position in the target, y downwards. `position` must be what `clip` left.
    [[nodiscard]] SnappedPoint snap(const ClipPosition& position) const noexcept;

private:
    static constexpr int planeCount = 6;
    [[nodiscard]] double distance(int plane, const ClipPosition& position) const noexcept;

    double halfWidth_, halfHeight_;
};

}  // namespace ondrix::software
