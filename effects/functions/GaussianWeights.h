#pragma once

#include <cmath>

namespace ondrix::effects::functions {

/// Shares of a pixel and of its neighbours on either side in a blurred pixel; all together 1.
struct GaussianWeights {
    static constexpr int largestRadius = 32;

    int reach;                         ///< neighbours on either side
    float weights[largestRadius + 1];  ///< by distance in pixels

    GaussianWeights() = default;
    /// The standard deviation is a third of `radius`, which is 0 to `largestRadius` pixels.
    explicit GaussianWeights(float radius) : reach(static_cast<int>(std::ceil(radius))), weights{1} {
        float sum = 1;
        for (int i = 1; i <= reach; ++i) {
            const float deviations = 3 * static_cast<float>(i) / radius;
            weights[i] = std::exp(-0.5f * deviations * deviations);
            sum += 2 * weights[i];
        }
        for (int i = 0; i <= reach; ++i) weights[i] /= sum;
    }
};

}  // namespace ondrix::effects::functions
