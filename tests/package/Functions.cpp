#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

inline void CS_Main(const Position& p, const Target<1>& out) {
    out.write(p, Float4{1, 0, 1, 0});
}

const FunctionTable functions{computeFunction<CS_Main>("Consumer::Magenta")};

}  // namespace
