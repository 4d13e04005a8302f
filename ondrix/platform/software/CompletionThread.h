#pragma once

#include <memory>

namespace ondrix::software {

class CommandBuffer;

/// The thread that calls the completion handlers of a device's command buffers, one buffer after another. It starts
/// with the first buffer that has handlers. Handlers may do anything with the device, even drop its last reference:
/// then the thread ends by itself once the handler has returned.
class CompletionThread {
public:
    CompletionThread();
    ~CompletionThread();
    CompletionThread(const CompletionThread&) = delete;
    CompletionThread& operator=(const CompletionThread&) = delete;

    /// Makes sure that the thread runs; false when it can't be started. One caller at a time.
    [[nodiscard]] bool start() noexcept;
    /// Puts the buffer at the end of the queue. The thread must run.
    void post(std::shared_ptr<CommandBuffer> commandBuffer);

private:
    struct State;

    std::shared_ptr<State> state_;  ///< shared with the thread
};

}  // namespace ondrix::software
