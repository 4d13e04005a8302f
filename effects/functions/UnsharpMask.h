#pragma once

#include "GaussianWeights.h"

namespace ondrix::effects::functions {

struct UnsharpMask {
    GaussianWeights gaussian;
    float amount, threshold;
};

}  // namespace ondrix::effects::functions
