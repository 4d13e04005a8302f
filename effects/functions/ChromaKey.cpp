#include "ChromaKey.h"

#include "Pixels.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

// Hue and saturation of a colour, whatever its brightness.
inline Float2 chroma(const Float3& colour) {
    const Float brightness = luminance(colour);
    return {(colour.z - brightness) * 0.5389f, (colour.x - brightness) * 0.6350f};
}

inline void CS_Main(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
                    const Constants<ChromaKey, 0>& settings) {
    const Texel colour = in.read(p);
    const Float3 key{settings->key[0], settings->key[1], settings->key[2]};
    const Float difference = length(chroma(colour.xyz()) - chroma(key)) - settings->tolerance;
    const Float kept = colour.w * saturate(difference / std::max(settings->softness, 1e-4f));

    // What is kept, over the background.
    const Float3 background{settings->background[0], settings->background[1], settings->background[2]};
    const Float shining = settings->backgroundAlpha * (1 - kept), alpha = kept + shining;
    const Float3 result = (colour.xyz() * kept + background * shining) / max(alpha, 1e-6f);
    out.write(p, Float4{result.x, result.y, result.z, alpha});
}

const FunctionTable functions{computeFunction<CS_Main>("Effects::ChromaKey")};

}  // namespace
