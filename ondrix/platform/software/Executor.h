#pragma once

#include <memory>

#include <ondrix/platform/software/ProblemLog.h>
#include <ondrix/platform/software/RecyclingMemory.h>

namespace ondrix::software {

class CommandBuffer;

/// Runs the command buffers of one device in the order of their commit, one at a time. A thread that waits for a
/// command buffer runs it itself, with those before it, when nobody has begun; whatever nobody waits for is run by the
/// executor's own thread. Held by the device, its queues and their command buffers; the last one to let go may do so on
/// any thread, also the executor's own. Safe to use from any thread.
class Executor {
public:
    /// `threadCount` threads, 1 to 256, share the work of one command buffer; see `Device::create` for `validates`, and
    /// `ExecutionContext` for `fuses`.
    Executor(int threadCount, bool validates, bool fuses);
    ~Executor();
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;

    void commit(std::shared_ptr<CommandBuffer> commandBuffer);
    /// Returns when the work of `commandBuffer`, which must be committed, is done and its drawables are presented.
    void waitUntilCompleted(CommandBuffer& commandBuffer);

    /// For the device's objects that come and go with every frame.
    [[nodiscard]] const std::shared_ptr<RecyclingMemory>& memory() const noexcept { return memory_; }
    [[nodiscard]] bool validates() const noexcept { return validates_; }
    /// For problems that belong to no pipeline.
    [[nodiscard]] ProblemLog& problems() noexcept { return problems_; }

private:
    struct State;

    std::shared_ptr<RecyclingMemory> memory_;
    std::shared_ptr<State> state_;  ///< shared with the executor's thread
    ProblemLog problems_;
    bool validates_;
};

}  // namespace ondrix::software
