#pragma once

#include <cstdint>

#include <ondrix/platform/software/Clipper.h>
#include <ondrix/platform/software/Commands.h>
#include <ondrix/platform/software/ExecutionContext.h>
#include <ondrix/platform/software/PlaneSetup.h>

namespace ondrix::software {

/// Turns the results of a vertex function into primitives on the target, and puts those that interpolate the same
/// planes into one group. Adds to the context's primitives and groups; one object for a stretch of one draw.
class PrimitiveSetup {
public:
    PrimitiveSetup(const DrawCommand& draw, const shading::TextureView& target, ExecutionContext& context);

    /// `vertices` are 1 to 3 results of the vertex function: a point, a line or a triangle. Drops what isn't visible
    /// and what has a position that isn't finite.
    void add(const float* const* vertices, int count);

private:
    void cover(const Clipper::Polygon& polygon, int count, bool triangle);
    void push(Primitive primitive);

    const DrawCommand& draw_;
    const shading::TextureView& target_;
    ExecutionContext& context_;
    Clipper clipper_;
    PlaneSetup planes_;
    bool groupOpen_ = false;  ///< the last group is of this stretch
};

}  // namespace ondrix::software
