#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

inline VertexOut<Float2> VS_Main(VertexInput<Float3, 0> position, VertexInput<Float2, 1> texCoords) {
    return {{position.x, position.y, position.z, 1}, {texCoords}};
}

inline Sampled FS_Main(const Varying2& uv, const Texture<0>& image, const Sampler<0>& linear) {
    return image.sample(linear, uv);
}

/// Copies position for position where both textures have the position.
inline void CS_Main(const WholeRows& rows, const Texture<0, Reach::own>& image, const Target<1>& output) {
    output.copy(rows, image);
}

const FunctionTable functions{
    vertexFunction<VS_Main>("Ondrix::Blit::VS_Main"),
    fragmentFunction<FS_Main>("Ondrix::Blit::FS_Main"),
    computeFunction<CS_Main>("Ondrix::Blit::CS_Main"),
};

}  // namespace
