#include "Vignette.h"

#include "Pixels.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

inline void CS_Main(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
                    const Constants<Vignette, 0>& settings) {
    const Float2 middle{in.width() * 0.5f, in.height() * 0.5f};
    const Float distance = length(p.center() - middle) / length(middle);
    const Float softness = std::max(settings->softness, 1e-4f);
    const Float light = 1 - settings->strength * smoothstep(settings->radius, settings->radius + softness, distance);
    const Texel colour = in.read(p);
    out.write(p, Float4{colour.x * light, colour.y * light, colour.z * light, colour.w});
}

const FunctionTable functions{computeFunction<CS_Main>("Effects::Vignette")};

}  // namespace
