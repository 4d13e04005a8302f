#pragma once

#include <ondrix/shading/Float.h>

namespace ondrix::shading {

/// A function of 0...1 by its values at equal distances, and what lies between two of them in a straight line. Numbers
/// beyond either end give the value there, NaN that at 0.
template <int entries>
ONDRIX_INLINE Float curve(const float (&values)[entries], Float at) {
    const Float place = saturate(at) * (entries - 1);
    const Int before = min(Int(lanes::truncate(place.v)), entries - 2);
    lanes::Ints first, second;
    lanes::gatherPairs(values, before.v, first, second);
    return mix(asFloat(Int(first)), asFloat(Int(second)), place - Float(before));
}

}  // namespace ondrix::shading
