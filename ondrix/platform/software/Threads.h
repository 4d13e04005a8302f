#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include <pthread.h>

/// Small helpers for the device's threads.
namespace ondrix::software {

/// Processors that this process may run on, at least 1.
[[nodiscard]] int processorCount() noexcept;

/// Moves a sleeping thread of the device to another core than the caller's before it is woken: the kernel would wake it
/// on the caller's core, where it waits for milliseconds while the caller goes on.
void moveOffCallersCore(pthread_t thread) noexcept;
/// Lets the calling thread run on every core again, so that it doesn't stay on one that another thread has come to.
void runOnAnyCore() noexcept;

/// Tells the processor that the caller only waits.
inline void pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

/// Waits for `condition`, up to `time`; looks only once on a machine with one processor. Returns its last value.
template <typename Condition>
bool spinUntil(std::chrono::nanoseconds time, Condition condition) {
    if (processorCount() == 1) return condition();
    const auto end = std::chrono::steady_clock::now() + time;
    do {
        for (int turn = 0; turn < 32; ++turn) {
            if (condition()) return true;
            pause();
        }
    } while (std::chrono::steady_clock::now() < end);
    return condition();
}

/// Ends a thread whose function is about to return: joins it, or lets it go when the caller is that thread.
void joinOrLetGo(std::thread& thread);

}  // namespace ondrix::software
