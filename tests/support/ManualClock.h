#pragma once

#include <atomic>
#include <cmath>
#include <cstdint>

#include <ondrix/platform/os/mach_time.h>

namespace ondrix::test {

/// Stops the media clock at a whole second while it lives; time passes by `advance` alone.
class ManualClock {
public:
    ManualClock() { ticks_ = 1'000'000'000; }
    ~ManualClock() { os::setTickSource(previous_); }
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    /// To the nanosecond, rounded up.
    void advance(double seconds) { ticks_ += static_cast<std::uint64_t>(std::ceil(seconds * 1e9)); }

private:
    static inline std::atomic<std::uint64_t> ticks_;
    os::TickSource previous_ = os::setTickSource([] { return ticks_.load(); });
};

}  // namespace ondrix::test
