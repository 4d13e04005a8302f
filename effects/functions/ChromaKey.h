#pragma once

namespace ondrix::effects::functions {

struct ChromaKey {
    float key[3];
    float tolerance, softness;
    float background[3], backgroundAlpha;
};

}  // namespace ondrix::effects::functions
