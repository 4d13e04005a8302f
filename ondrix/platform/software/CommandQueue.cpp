#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/CommandQueue.h>
#include <ondrix/platform/software/Executor.h>

namespace ondrix::software {

std::shared_ptr<MTLCommandBuffer> CommandQueue::makeCommandBuffer() {
    return os::orAbsent([&] {
        return std::allocate_shared<CommandBuffer>(RecyclingAllocator<CommandBuffer>(executor_->memory()), executor_);
    });
}

}  // namespace ondrix::software
