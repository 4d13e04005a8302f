#include <ondrix/shading/Shading.h>

#include "Constants.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

/// Where a component lies on an axis of the table, in entries.
inline Float place(const LookUp& settings, int axis, Float component) {
    const float entries = (settings.size - 1) / (settings.maximum[axis] - settings.minimum[axis]);  // for a step of 1
    return (component - settings.minimum[axis]) * entries;
}

inline void CS_Main(const Position& p, const Texture<0, Reach::own>& in, const Texture<1, Format::rgba32f>& table,
                    const Target<2>& out, const Constants<LookUp, 0>& settings) {
    const Texel colour = in.read(p);
    const Float3 at{place(*settings, 0, colour.x), place(*settings, 1, colour.y), place(*settings, 2, colour.z)};
    const Float3 found = lookUp(table, at, settings->size).xyz();
    const Float3 result = mix(colour.xyz(), found, settings->strength);
    out.write(p, Float4{result.x, result.y, result.z, colour.w});
}

const FunctionTable functions{computeFunction<CS_Main>("Effects::LookUp")};

}  // namespace
