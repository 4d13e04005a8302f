#pragma once

#include <cstdint>

namespace ondrix {

/// How ticks become nanoseconds: multiply by `numer`, divide by `denom`.
struct mach_timebase_info_data_t {
    std::uint32_t numer;
    std::uint32_t denom;
};

/// Always succeeds with status 0.
int mach_timebase_info(mach_timebase_info_data_t* info) noexcept;
/// Ticks of a clock that only goes forward.
[[nodiscard]] std::uint64_t mach_absolute_time() noexcept;

namespace os {

using TickSource = std::uint64_t (*)();

/// Replaces where ticks come from, for the whole process, and returns the previous source; null is the system's clock
/// in nanoseconds. Safe to use from any thread.
TickSource setTickSource(TickSource source) noexcept;

}  // namespace os

}  // namespace ondrix
