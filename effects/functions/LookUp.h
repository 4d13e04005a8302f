#pragma once

namespace ondrix::effects::functions {

struct LookUp {
    int size;
    float minimum[3], maximum[3];  ///< colours of the first and the last entry
    float strength;
};

}  // namespace ondrix::effects::functions
