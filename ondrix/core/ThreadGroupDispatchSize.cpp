#include <algorithm>

#include <ondrix/core/ThreadGroupDispatchSize.h>

namespace ondrix {

namespace {

std::uint64_t dividedUpwards(std::uint64_t count, std::uint64_t groupSize) {
    return count / groupSize + (count % groupSize != 0 ? 1 : 0);
}

}  // namespace

ThreadGroupDispatchSize threadGroupDispatchSize(const MTLComputePipelineState& pipelineState, std::uint64_t width,
                                                std::uint64_t height) {
    const std::uint64_t groupWidth = std::max<std::uint64_t>(pipelineState.threadExecutionWidth(), 1);
    const std::uint64_t groupHeight =
        std::max<std::uint64_t>(pipelineState.maxTotalThreadsPerThreadgroup() / groupWidth, 1);
    return {{groupWidth, groupHeight, 1}, {dividedUpwards(width, groupWidth), dividedUpwards(height, groupHeight), 1}};
}

}  // namespace ondrix
