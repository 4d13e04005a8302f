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

// Runs for every corner of the quad: what was up goes down.
inline VertexOut<Float2> VS_Main(VertexInput<Float3, 0> position, VertexInput<Float2, 1> texCoords) {
    return {{position.x, -position.y, position.z, 1}, {texCoords}};
}

// Runs for every pixel that the quad covers.
inline Texel FS_Main(const Varying2& uv, const Texture<0>& image, const Sampler<0>& linear) {
    return image.sample(linear, uv);
}

const FunctionTable functions{
    computeFunction<CS_Main>("Example::Gain"),
    vertexFunction<VS_Main>("Example::VS_Main"),
    fragmentFunction<FS_Main>("Example::FS_Main"),
};

}  // namespace
