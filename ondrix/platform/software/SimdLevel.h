#pragma once

#include <span>
#include <string_view>

namespace ondrix::software {

/// A named set of processor instructions that shader modules are built for; the module's file is `name`.so.
struct SimdLevel {
    std::string_view name;
    bool (*supported)();  ///< true when processor and operating system run code of this level
};

/// The levels of this processor family, best first. The last one is "plain", which every processor runs.
[[nodiscard]] std::span<const SimdLevel> simdLevels() noexcept;

}  // namespace ondrix::software
