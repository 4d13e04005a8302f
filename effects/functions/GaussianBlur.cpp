#include "Blurring.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

inline void CS_Rows(const Position& p, const Texture<0>& in, const Target<1>& out,
                    const Constants<GaussianWeights, 0>& gaussian) {
    out.write(p, blurred(in, p, *gaussian, {1, 0}));
}

inline void CS_Columns(const Position& p, const Texture<0>& in, const Target<1>& out,
                       const Constants<GaussianWeights, 0>& gaussian) {
    out.write(p, blurred(in, p, *gaussian, {0, 1}));
}

const FunctionTable functions{
    computeFunction<CS_Rows>("Effects::GaussianBlur::Rows"),
    computeFunction<CS_Columns>("Effects::GaussianBlur::Columns"),
};

}  // namespace
