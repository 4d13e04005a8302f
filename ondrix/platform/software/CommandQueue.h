#pragma once

#include <memory>

#include <ondrix/platform/metal/MTLCommandQueue.h>

namespace ondrix::software {

class Executor;

/// Makes command buffers for the device's executor.
class CommandQueue final : public MTLCommandQueue {
public:
    explicit CommandQueue(std::shared_ptr<Executor> executor) : executor_(std::move(executor)) {}

    [[nodiscard]] std::shared_ptr<MTLCommandBuffer> makeCommandBuffer() override;

private:
    std::shared_ptr<Executor> executor_;
};

}  // namespace ondrix::software
