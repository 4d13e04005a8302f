#pragma once

/// Buffer 0 of the function "Example::Gain", declared once for the program and the GPU.
struct Settings {
    float gain;
};
