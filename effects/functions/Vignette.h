#pragma once

namespace ondrix::effects::functions {

struct Vignette {
    float radius, softness, strength;
};

}  // namespace ondrix::effects::functions
