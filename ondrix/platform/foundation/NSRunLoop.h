#pragma once

#include <functional>
#include <memory>

namespace ondrix {

/// Something that a run loop fires again and again. Held by its loop from `NSRunLoop::add` until it is invalid.
class NSRunLoopSource {
public:
    virtual ~NSRunLoopSource() = default;

    [[nodiscard]] virtual bool isValid() const = 0;
    /// When it wants to fire next, in seconds of the media clock (`CACurrentMediaTime`).
    [[nodiscard]] virtual double nextFireTime() const = 0;
    /// Called at `nextFireTime()` or later, once; what is missed meanwhile isn't made up. It must move its next time
    /// on.
    virtual void fire() = 0;
};

/// Runs timed sources and blocks, one after the other, on the thread that runs it: the main thread, for the one loop
/// that there is. Blocks may be given to it from any thread; everything else is for its own thread. Sources and blocks
/// may add others, end themselves and run the loop again. Time is the media clock: where that is replaced, sources fire
/// by the replaced time. What is added while there is no memory is left out, and `errno` is ENOMEM.
class NSRunLoop {
public:
    /// Never destroyed.
    [[nodiscard]] static NSRunLoop& main();

    void add(std::shared_ptr<NSRunLoopSource> source);
    /// Calls `block` once on the loop's thread, in the order of the calls; after what the loop is just doing, also
    /// where that is its own thread. Safe to use from any thread.
    void perform(std::function<void()> block);

    /// Runs until `stop()`, sleeping while there is nothing to do.
    void run();
    /// Runs for `seconds` of the media clock or until `stop()`.
    void run(double seconds);
    /// Runs the blocks that are there, then the sources that are due, each once at most, and never waits.
    void runUntilIdle();
    /// Ends the innermost `run` after what it is just running; without one, the next. Safe to use from any thread.
    void stop();

    NSRunLoop(const NSRunLoop&) = delete;
    NSRunLoop& operator=(const NSRunLoop&) = delete;
    ~NSRunLoop() = delete;

private:
    NSRunLoop();

    struct State;
    State* state_;
};

}  // namespace ondrix
