// Functions whose result depends on the input's pixel at the same position alone.

#include <algorithm>

#include "Constants.h"
#include "Pixels.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

// Hue and saturation of a colour, whatever its brightness.
inline Float2 chroma(const Float3& colour) {
    const Float brightness = luminance(colour);
    return {(colour.z - brightness) * 0.5389f, (colour.x - brightness) * 0.6350f};
}

inline void CS_ChromaKey(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
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

inline void CS_Colour(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
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

inline void CS_CrossFade(const Position& p, const Texture<0, Reach::own>& first, const Texture<1>& second,
                         const Target<2>& out, const Sampler<0>& linear, const Constants<CrossFade, 0>& settings) {
    const bool sameSize = second.width() == first.width() && second.height() == first.height();
    const Float2 place{p.center().x / first.width(), p.center().y / first.height()};
    const Float4 other = sameSize ? second.read(p) : second.sample(linear, place);
    out.write(p, mix(first.read(p), other, settings->amount));
}

inline void CS_Vignette(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
                        const Constants<Vignette, 0>& settings) {
    const Float2 middle{in.width() * 0.5f, in.height() * 0.5f};
    const Float distance = length(p.center() - middle) / length(middle);
    const Float softness = std::max(settings->softness, 1e-4f);
    const Float light = 1 - settings->strength * smoothstep(settings->radius, settings->radius + softness, distance);
    const Texel colour = in.read(p);
    out.write(p, Float4{colour.x * light, colour.y * light, colour.z * light, colour.w});
}

const FunctionTable functions{
    computeFunction<CS_ChromaKey>("Effects::ChromaKey"),
    computeFunction<CS_Colour>("Effects::Colour"),
    computeFunction<CS_CrossFade>("Effects::CrossFade"),
    computeFunction<CS_Vignette>("Effects::Vignette"),
};

}  // namespace
