#pragma once

#include <initializer_list>

#include <ondrix/shading/Module.h>

/// What modules of the level "checked" look for while they work. `ONDRIX_CHECK(...)` is its argument at that level and
/// nothing at every other.
#if defined(ONDRIX_CHECKED)
#if !defined(ONDRIX_PLAIN)
#error "ONDRIX_CHECKED needs ONDRIX_PLAIN: checks are made for packs of one lane"
#endif
#define ONDRIX_CHECK(...) __VA_ARGS__

namespace ondrix::shading::checks {

/// The pixel, or with y = -1 the vertex, that a thread works on.
struct Place {
    std::int32_t x, y;
};
inline thread_local Place place{0, 0};

inline void startPixel(std::int32_t x, std::int32_t y) {
    place = {x, y};
}

/// Adds to a finding about slot `slot`, which keeps the first pixel in reading order, so that the result doesn't depend
/// on the order in which threads get here.
[[gnu::noinline]] inline void note(Report* report, Check check, int slot, std::int32_t x, std::int32_t y,
                                   std::int64_t distance) {
    if (report == nullptr) return;
    while (__atomic_exchange_n(&report->lock, 1u, __ATOMIC_ACQUIRE) != 0) {
    }
    Finding& finding = report->findings[static_cast<int>(check)][slot];
    const bool earlier = place.y < finding.pixelY || (place.y == finding.pixelY && place.x < finding.pixelX);
    if (finding.count == 0 || earlier) {
        finding.pixelX = place.x;
        finding.pixelY = place.y;
        finding.x = x;
        finding.y = y;
    }
    if (distance > finding.distance) finding.distance = distance;
    finding.count++;
    __atomic_store_n(&report->lock, 0u, __ATOMIC_RELEASE);
}

/// Pixels from a position to the nearest one inside the texture, in the direction where that is further; 0 inside.
inline std::int64_t distanceOutside(const TextureView& view, std::int64_t x, std::int64_t y) {
    std::int64_t distance = 0;
    for (const std::int64_t beyond : {-x, x - view.width + 1, -y, y - view.height + 1}) {
        if (beyond > distance) distance = beyond;
    }
    return distance;
}

/// Whether a position is one that the parameter promised.
inline bool isPromised(std::uint32_t reachNumber, const TextureView& view, std::int32_t x, std::int32_t y) {
    const Reach reach = reachOf(reachNumber);
    if (reach == Reach::own) return x == place.x && y == place.y;
    if (reach != Reach::near || y < 0 || y >= view.height) return true;
    const NearRows rows = nearRowsOf(reachNumber);
    const auto inside = [&](std::int64_t row) { return row < 0 ? 0 : row < view.height ? row : view.height - 1; };
    return y >= inside(place.y / rows.divisor - rows.above) &&
           y <= inside(std::int64_t{place.y} * rows.factor + rows.below);
}

inline void read(Report* report, int slot, const TextureView& view, std::int32_t x, std::int32_t y,
                 std::uint32_t reachNumber) {
    if (!isPromised(reachNumber, view, x, y)) note(report, Check::readElsewhere, slot, x, y, 0);
    const std::int64_t distance = distanceOutside(view, x, y);
    if (distance > 0) note(report, Check::readOutside, slot, x, y, distance);
}

inline void sample(Report* report, int slot, float u, float v) {
    if (__builtin_isfinite(u) && __builtin_isfinite(v)) return;
    note(report, Check::sampledNowhere, slot, 0, 0, 0);
}

inline void write(Report* report, int slot, const TextureView& view, std::int32_t x, std::int32_t y) {
    if (x != place.x || y != place.y) note(report, Check::writtenElsewhere, slot, x, y, 0);
    const std::int64_t distance = distanceOutside(view, x, y);
    if (distance > 0) {
        note(report, Check::writtenOutside, slot, x, y, distance);
    } else if (report != nullptr && report->written[slot] != nullptr) {
        __atomic_store_n(report->written[slot] + static_cast<std::int64_t>(y) * view.width + x, std::uint8_t{1},
                         __ATOMIC_RELAXED);
    }
}

}  // namespace ondrix::shading::checks
#else
#define ONDRIX_CHECK(...)
#endif
