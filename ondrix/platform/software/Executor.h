#pragma once

#include <memory>

namespace ondrix::software {

class CommandBuffer;

/// Runs the command buffers of one device in the order of their commit, one at a time. A thread that waits for a
/// command buffer runs it itself, with those before it, when nobody has begun; whatever nobody waits for is run by the
/// executor's own thread. Held by the device, its queues and their command buffers; the last one to let go may do so on
/// any thread, also the executor's own. Safe to use from any thread.
class Executor {
public:
    /// `threadCount` threads, 1 to 256, share the work of one command buffer.
    explicit Executor(int threadCount);
    ~Executor();
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;

    void commit(std::shared_ptr<CommandBuffer> commandBuffer);
    /// `commandBuffer` must be committed.
    void waitUntilCompleted(CommandBuffer& commandBuffer);

private:
    struct State;

    std::shared_ptr<State> state_;  ///< shared with the executor's thread
};

}  // namespace ondrix::software
