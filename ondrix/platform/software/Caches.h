#pragma once

#include <cstdint>

namespace ondrix::software {

/// Whether work on this many bytes would push its own results out of the processor's last cache before anybody reads
/// them, so that they are better stored past the caches.
[[nodiscard]] bool exceedsCaches(std::int64_t bytes) noexcept;

}  // namespace ondrix::software
