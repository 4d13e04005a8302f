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
    /// Puts the buffer at the end of the queue. The thread must run. To wake it costs the caller 20 microseconds, and a
    /// worker its core for as long; unless its handlers are to be called `atOnce`, that is left to `callGathered`, or
    /// to somebody who posts when many have gathered.
    void post(std::shared_ptr<CommandBuffer> commandBuffer, bool atOnce);
    /// Makes sure that the handlers of all that was posted are called.
    void callGathered();

private:
    struct State;

    std::shared_ptr<State> state_;  ///< shared with the thread
};

}  // namespace ondrix::software
