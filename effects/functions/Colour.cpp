#include "Colour.h"

#include "Pixels.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

inline void CS_Main(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
                    const Constants<Colour, 0>& settings) {
    const Texel colour = in.read(p);
    const auto contrasted = [&](Float component) {
        return (component * settings->gain - 0.5f) * settings->contrast + 0.5f;
    };
    const Float3 contrast{contrasted(colour.x), contrasted(colour.y), contrasted(colour.z)};
    const Float grey = luminance(contrast);
    const Float3 result = mix(Float3{grey, grey, grey}, contrast, settings->saturation);
    out.write(p, Float4{result.x, result.y, result.z, colour.w});
}

const FunctionTable functions{computeFunction<CS_Main>("Effects::Colour")};

}  // namespace
