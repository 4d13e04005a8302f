#pragma once

#include <cstdint>

#include <ondrix/platform/software/Commands.h>
#include <ondrix/platform/software/ExecutionContext.h>

namespace ondrix::software {

/// Runs the vertex function for a stretch of a draw's indices and keeps the results, in the memory of the context.
class VertexStage {
public:
    VertexStage(const DrawCommand& draw, ExecutionContext& context) : draw_(draw), context_(context) {}

    /// Runs the vertex function for the indices `first` to `first` + `count` - 1. A vertex that is named several times
    /// runs once, unless the vertex numbers are so far apart that this costs more than it saves.
    void run(std::int64_t first, int count);

    /// Floats of the vertex that index `first` + `position` names: the clip-space position x, y, z, w, then the
    /// varyings.
    [[nodiscard]] const float* result(int position) const noexcept;

private:
    [[nodiscard]] std::uint32_t index(std::int64_t position) const noexcept;

    const DrawCommand& draw_;
    ExecutionContext& context_;
    std::int64_t first_ = 0;
    std::uint32_t lowest_ = 0;
    bool shared_ = false;  ///< results are ordered by vertex number, from `lowest_`; otherwise by position
    int stride_ = 0;       ///< floats
};

}  // namespace ondrix::software
