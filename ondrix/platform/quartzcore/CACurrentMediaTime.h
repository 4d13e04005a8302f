#pragma once

namespace ondrix {

/// Seconds on the host's monotonic clock, read from `mach_absolute_time`, so that replacing its tick source replaces
/// this clock. Safe to use from any thread.
[[nodiscard]] double CACurrentMediaTime() noexcept;

}  // namespace ondrix
