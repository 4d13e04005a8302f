#include <new>

#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/CommandQueue.h>
#include <ondrix/platform/software/Executor.h>

namespace ondrix::software {

std::shared_ptr<MTLCommandBuffer> CommandQueue::makeCommandBuffer() {
    try {
        return std::allocate_shared<CommandBuffer>(RecyclingAllocator<CommandBuffer>(executor_->memory()), executor_);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace ondrix::software
