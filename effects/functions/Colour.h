#pragma once

namespace ondrix::effects::functions {

struct Colour {
    float gain, contrast, saturation;
};

}  // namespace ondrix::effects::functions
