#pragma once

#include <algorithm>
#include <cstdint>

namespace ondrix::software {

/// The rows y0 <= y < y1, cut into strips of equal height (the last one may be lower).
struct Strips {
    static constexpr std::int32_t fewestRows = 16, mostRows = 64;

    std::int32_t y0 = 0, y1 = 0;
    std::int32_t rows = fewestRows;

    /// `bytesPerRow` is what the work reads and writes for one row: a strip's share should stay in a core's own cache,
    /// and all threads should have strips left to take when one is late.
    Strips(std::int32_t fromRow, std::int32_t toRow, std::int64_t bytesPerRow, int threadCount) noexcept
        : y0(fromRow), y1(toRow) {
        constexpr std::int64_t cacheShare = 128 * 1024, fewest = fewestRows, most = mostRows;
        std::int64_t wanted = std::clamp(cacheShare / std::max<std::int64_t>(bytesPerRow, 1), fewest, most);
        if (threadCount > 1) {
            const std::int64_t turns = 4 * static_cast<std::int64_t>(threadCount);
            wanted = std::min(wanted, std::max(fewest, (y1 - y0 + turns - 1) / turns));
        }
        rows = static_cast<std::int32_t>(wanted);
    }

    [[nodiscard]] int count() const noexcept { return (y1 - y0 + rows - 1) / rows; }
    [[nodiscard]] std::int32_t begin(int strip) const noexcept { return y0 + strip * rows; }
    [[nodiscard]] std::int32_t end(int strip) const noexcept { return std::min(y1, begin(strip) + rows); }
};

/// Whether work on this many bytes would push its own results out of the processor's last cache before anybody reads
/// them, so that they are better stored past the caches.
[[nodiscard]] bool exceedsCaches(std::int64_t bytes) noexcept;

}  // namespace ondrix::software
