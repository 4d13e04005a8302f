#include <ondrix/shading/Shading.h>

#include "Settings.h"

using namespace ondrix::shading;

namespace {

// White where two pictures differ by more than a tolerance in any colour, else black.
inline void CS_Main(const Position& p, const Texture<0>& first, const Texture<1>& second, const Target<2>& out,
                    const Constants<Settings, 0>& settings) {
    const Float4 a = first.read(p), b = second.read(p);
    const Float difference = max(abs(a.x - b.x), max(abs(a.y - b.y), abs(a.z - b.z)));
    const Float light = select(difference > settings->tolerance, 1.0f, 0.0f);
    out.write(p, Float4{light, light, light, 1});
}

const FunctionTable functions{computeFunction<CS_Main>("Example::Difference")};

}  // namespace
