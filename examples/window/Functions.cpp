#include <ondrix/shading/Shading.h>

#include "Settings.h"

using namespace ondrix::shading;

namespace {

// Runs for every corner of the quad, which covers the window.
inline VertexOut<Float2> VS_Main(VertexInput<Float3, 0> position, VertexInput<Float2, 1> texCoords) {
    return {{position.x, position.y, position.z, 1}, {texCoords}};
}

// Runs for every pixel of the window: inside the lens it takes the colour from closer to the lens's centre.
inline Float4 Lens(const Varying2& uv, const Texture<0>& picture, const Sampler<0>& linear,
                   const Constants<Settings, 0>& settings) {
    const Float2 centre{settings->x, settings->y}, away = uv - centre;
    return picture.sample(linear, centre + away * mix(0.4f, 1, smoothstep(0.1f, 0.2f, length(away))));
}

const FunctionTable functions{vertexFunction<VS_Main>("Example::VS_Main"), fragmentFunction<Lens>("Example::Lens")};

}  // namespace
