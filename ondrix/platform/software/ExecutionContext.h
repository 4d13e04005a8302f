#pragma once

#include <cstdint>
#include <vector>

#include <ondrix/platform/software/Primitive.h>
#include <ondrix/platform/software/WorkerPool.h>

namespace ondrix::software {

/// The threads and the working memory that commands run with. The memory is kept from one command to the next, so the
/// heap is only asked when something is larger than ever before. Used by one thread at a time.
struct ExecutionContext {
    explicit ExecutionContext(int threadCount, bool runsTogether = true) : fuses(runsTogether), pool(threadCount) {}

    const bool fuses;  ///< commands that read what those before them wrote run together, strip by strip
    WorkerPool pool;
    std::vector<std::uint32_t> vertices;  ///< vertex numbers of one chunk of a draw
    std::vector<float> vertexResults;
    std::vector<Primitive> primitives;
    std::vector<PrimitiveGroup> groups;
    std::vector<std::uint8_t> doneStrips;  ///< of a chain's steps; 1 for those that are done
};

}  // namespace ondrix::software
