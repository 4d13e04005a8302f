#pragma once

#include <cmath>

/// The constants of the effects' functions, each struct as the host fills it in and the function reads it from slot 0.
namespace ondrix::effects::functions {

struct ChromaKey {
    float key[3];
    float tolerance, softness;
    float background[3], backgroundAlpha;
};

struct Colour {
    float gain, contrast, saturation;
};

struct CrossFade {
    float amount;
};

struct Edges {
    float strength;
};

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

struct LookUp {
    int size;
    float minimum[3], maximum[3];  ///< colours of the first and the last entry
    float strength;
};

struct Scope {
    int histogram;  ///< 0 draws a waveform
    float height;   ///< share of the picture, at the bottom, that is drawn over
    float gain;
};

struct UnsharpMask {
    GaussianWeights gaussian;
    float amount, threshold;
};

struct Vignette {
    float radius, softness, strength;
};

}  // namespace ondrix::effects::functions
