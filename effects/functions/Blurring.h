#pragma once

#include "GaussianWeights.h"
#include "Pixels.h"

namespace ondrix::effects::functions {

/// The pixels blurred along a row, with {1, 0}, or a column, with {0, 1}.
inline shading::Float4 blurred(const shading::Texture<0>& in, const shading::Position& p,
                               const GaussianWeights& gaussian, shading::Offset along) {
    shading::Float4 sum = in.read(p) * gaussian.weights[0];
    for (int i = 1; i <= gaussian.reach; ++i) {
        const shading::Float4 before = readClamped(in, p, {-i * along.x, -i * along.y});
        const shading::Float4 after = readClamped(in, p, {i * along.x, i * along.y});
        sum += (before + after) * gaussian.weights[i];
    }
    return sum;
}

}  // namespace ondrix::effects::functions
