#pragma once

namespace ondrix::effects::functions {

struct Scope {
    int histogram;  ///< 0 draws a waveform
    float height;   ///< share of the picture, at the bottom, that is drawn over
    float gain;
};

}  // namespace ondrix::effects::functions
