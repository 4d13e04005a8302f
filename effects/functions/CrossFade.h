#pragma once

namespace ondrix::effects::functions {

struct CrossFade {
    float amount;
};

}  // namespace ondrix::effects::functions
