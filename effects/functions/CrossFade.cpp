#include "CrossFade.h"

#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

inline void CS_Main(const Position& p, const Texture<0, Reach::own>& first, const Texture<1>& second,
                    const Target<2>& out, const Sampler<0>& linear, const Constants<CrossFade, 0>& settings) {
    const bool sameSize = second.width() == first.width() && second.height() == first.height();
    const Float2 place{p.center().x / first.width(), p.center().y / first.height()};
    const Float4 other = sameSize ? second.read(p) : second.sample(linear, place);
    out.write(p, mix(first.read(p), other, settings->amount));
}

const FunctionTable functions{computeFunction<CS_Main>("Effects::CrossFade")};

}  // namespace
