#include "UnsharpMask.h"

#include "Blurring.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

// `rows` is `in` blurred along its rows.
inline void CS_Main(const Position& p, const Texture<0>& rows, const Texture<1, Reach::own>& in, const Target<2>& out,
                    const Constants<UnsharpMask, 0>& settings) {
    const Texel colour = in.read(p);
    const Float4 blur = blurred(rows, p, settings->gaussian, {0, 1});
    const auto sharpened = [&](Float component, Float around) {
        const Float difference = component - around;
        return select(abs(difference) >= settings->threshold, component + difference * settings->amount, component);
    };
    out.write(p,
              Float4{sharpened(colour.x, blur.x), sharpened(colour.y, blur.y), sharpened(colour.z, blur.z), colour.w});
}

const FunctionTable functions{computeFunction<CS_Main>("Effects::UnsharpMask")};

}  // namespace
