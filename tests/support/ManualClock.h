#pragma once

#include <atomic>
#include <cmath>
#include <cstdint>

#include <ondrix/platform/os/mach_time.h>

namespace ondrix::test {

/// Stops the media clock at a whole second while it lives; time passes by `advance` alone.
struct ManualClock {
    ManualClock() { ticks = 1'000'000'000; }
    ~ManualClock() { os::setTickSource(previous); }
    /// To the nanosecond, rounded up.
    void advance(double seconds) { ticks += static_cast<std::uint64_t>(std::ceil(seconds * 1e9)); }

    static inline std::atomic<std::uint64_t> ticks;
    const os::TickSource previous = os::setTickSource([] { return ticks.load(); });
};

}  // namespace ondrix::test
