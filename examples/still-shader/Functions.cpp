#include <ondrix/shading/Shading.h>

#include "Settings.h"

using namespace ondrix::shading;

namespace {

// Runs for every pixel of the output: its colour is the input's, made brighter or darker.
inline void CS_Main(const Position& p, const Texture<0>& in, const Target<1>& out,
                    const Constants<Settings, 0>& settings) {
    const Float4 colour = in.read(p);
    out.write(p, Float4{colour.x * settings->gain, colour.y * settings->gain, colour.z * settings->gain, colour.w});
}

const FunctionTable functions{computeFunction<CS_Main>("Example::Gain")};

}  // namespace
