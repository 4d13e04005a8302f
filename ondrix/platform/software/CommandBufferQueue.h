#pragma once

#include <memory>
#include <utility>

#include <ondrix/platform/software/CommandBuffer.h>

namespace ondrix::software {

/// Command buffers in the order in which they came, linked through themselves, so that to add one needs no memory. A
/// command buffer is in one queue of each link at a time.
template <std::shared_ptr<CommandBuffer> CommandBuffer::*link>
class CommandBufferQueue {
public:
    [[nodiscard]] bool empty() const noexcept { return first_ == nullptr; }

    void push(std::shared_ptr<CommandBuffer> commandBuffer) noexcept {
        CommandBuffer* const added = commandBuffer.get();
        (last_ == nullptr ? first_ : last_->*link) = std::move(commandBuffer);
        last_ = added;
    }
    /// The first one; there must be one.
    [[nodiscard]] std::shared_ptr<CommandBuffer> pop() noexcept {
        auto commandBuffer = std::move(first_);
        first_ = std::move(commandBuffer.get()->*link);
        if (first_ == nullptr) last_ = nullptr;
        return commandBuffer;
    }

private:
    std::shared_ptr<CommandBuffer> first_;
    CommandBuffer* last_ = nullptr;
};

}  // namespace ondrix::software
