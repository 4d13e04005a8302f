#pragma once

#include <cstdint>
#include <vector>

#include <ondrix/platform/software/Primitive.h>
#include <ondrix/platform/software/WorkerPool.h>

namespace ondrix::software {

/// What running commands needs beside the commands; kept from one to the next, so that memory is only asked for when
/// something is larger than ever before. Used by one thread at a time.
struct ExecutionContext {
    explicit ExecutionContext(int threadCount) : pool(threadCount) {}

    WorkerPool pool;
    std::vector<std::uint32_t> vertices;  ///< vertex numbers of one chunk of a draw
    std::vector<float> vertexResults;
    std::vector<Primitive> primitives;
    std::vector<PrimitiveGroup> groups;
};

}  // namespace ondrix::software
