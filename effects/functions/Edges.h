#pragma once

namespace ondrix::effects::functions {

struct Edges {
    float strength;
};

}  // namespace ondrix::effects::functions
