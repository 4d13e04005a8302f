#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace ondrix::benchmarks {

/// The nearest level.
inline std::uint8_t toLevel(double level) {
    return static_cast<std::uint8_t>(std::floor(std::clamp(level, 0.0, 255.0) + 0.5));
}

/// The two pixels that a position lies between, and the weight of the second.
struct Neighbours {
    int first;
    int second;
    double weight;

    /// `position` in pixels from the edge of a side of `size` pixels.
    Neighbours(double position, int size) {
        const double fromCentre = position - 0.5;
        const double below = std::floor(fromCentre);
        first = std::clamp(static_cast<int>(below), 0, size - 1);
        second = std::clamp(static_cast<int>(below) + 1, 0, size - 1);
        weight = fromCentre - below;
    }

    [[nodiscard]] double blend(double a, double b) const { return a * (1.0 - weight) + b * weight; }
};

}  // namespace ondrix::benchmarks
