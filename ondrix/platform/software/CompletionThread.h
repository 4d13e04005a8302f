#pragma once

#include <memory>

namespace ondrix::software {

class CommandBuffer;

/// The thread that looks after a device's finished command buffers, one after another: it presents their drawables, if
/// no thread that waits for them has done so, and calls their completion handlers. It starts with the first buffer that
/// has either. Drawables and handlers may do anything with the device, even drop its last reference: then the thread
/// ends by itself once they have returned. Safe to use from any thread, but for `start`.
class CompletionThread {
public:
    CompletionThread();
    ~CompletionThread();
    CompletionThread(const CompletionThread&) = delete;
    CompletionThread& operator=(const CompletionThread&) = delete;

    /// Makes sure that the thread runs; false when it can't be started. One caller at a time.
    [[nodiscard]] bool start() noexcept;
    /// Puts the buffer at the end of the queue. To wake the thread costs the caller 20 microseconds, and a worker its
    /// core for as long; unless its handlers are to be called `atOnce`, that is left to `callGathered`, or to somebody
    /// who posts when many have gathered.
    void post(std::shared_ptr<CommandBuffer> commandBuffer, bool atOnce);
    /// Makes sure that the handlers of all that was posted are called.
    void callGathered();
    /// Does the thread's work on the calling one, until nothing is posted. For when the thread can't be started.
    void callPosted();

    /// Returns when the drawables of `commandBuffer`, which was posted or has none, have been presented. Presents them
    /// itself, and those posted before, unless another thread does already. Called by one of these very drawables, it
    /// returns at once.
    void present(CommandBuffer& commandBuffer);

private:
    struct State;

    std::shared_ptr<State> state_;  ///< shared with the thread
};

}  // namespace ondrix::software
