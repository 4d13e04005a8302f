#pragma once

#include <cstdint>

#include <ondrix/platform/metal/MTLPipelineState.h>
#include <ondrix/platform/metal/MTLTypes.h>

namespace ondrix {

/// How a compute function is dispatched: the threads of one group and the groups in each dimension.
struct ThreadGroupDispatchSize {
    MTLSize threadGroupSize;
    MTLSize threadGroupsPerGrid;
};

/// The widest groups that the pipeline allows, as many as cover `width` x `height` positions; they reach over the right
/// and bottom edges by less than one group.
[[nodiscard]] ThreadGroupDispatchSize threadGroupDispatchSize(const MTLComputePipelineState& pipelineState,
                                                              std::uint64_t width, std::uint64_t height);

}  // namespace ondrix
