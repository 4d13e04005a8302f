#pragma once

/// Buffer 0 of the function "Example::Difference", declared once for the program and the GPU.
struct Settings {
    float tolerance;  ///< 0 to 1
};
