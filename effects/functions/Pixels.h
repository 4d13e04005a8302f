#pragma once

#include <ondrix/shading/Shading.h>

namespace ondrix::effects::functions {

/// How bright colours look; of white 1.
inline shading::Float luminance(const shading::Float3& colour) {
    return dot(colour, shading::Float3{0.2126f, 0.7152f, 0.0722f});
}

}  // namespace ondrix::effects::functions
