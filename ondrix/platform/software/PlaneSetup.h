#pragma once

#include <cstdint>

#include <ondrix/shading/Module.h>

namespace ondrix::software {

/// Works out how varyings change over the target, from the whole primitive as the vertex function gave it, in double
/// precision. For an axis-aligned primitive the planes have no cross terms at all, not even rounding errors, so modules
/// may rely on that to find their fast paths.
class PlaneSetup {
public:
    /// Sides of the target in pixels; `components` floats of varyings follow each position.
    PlaneSetup(std::int32_t width, std::int32_t height, int components) noexcept
        : halfWidth_(width / 2.0), halfHeight_(height / 2.0), components_(components) {}

    /// Fills the planes of `task` for a primitive of 1 to 3 vertices. Along a line, values change in its direction
    /// only. A primitive without extent has the values of its first vertex.
    void set(shading::FragmentTask& task, const float* const* vertices, int count) const noexcept;

    /// True when both tasks have the same values, but for rounding, all over the pixels of a box (half-open).
    [[nodiscard]] bool agree(const shading::FragmentTask& a, const shading::FragmentTask& b, std::int32_t x0,
                             std::int32_t x1, std::int32_t y0, std::int32_t y1) const noexcept;

private:
    void setConstant(shading::FragmentTask& task, const float* vertex) const noexcept;
    bool setAffine(shading::FragmentTask& task, const float* const* vertices, int count) const noexcept;
    bool setPerspective(shading::FragmentTask& task, const float* const* vertices, int count) const noexcept;

    double halfWidth_, halfHeight_;
    int components_;
};

}  // namespace ondrix::software
