#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

inline VertexOut<Float2> VS_Main(VertexInput<Float3, 0> position, VertexInput<Float2, 1> texCoords,
                                 const Constants<Float4x4, 1>& transform) {
    return {*transform * Float4{position.x, position.y, 0, 1}, {texCoords}};
}

inline Sampled FS_Main(const Varying2& uv, const Texture<0>& image, const Sampler<0>& linear) {
    return image.sample(linear, uv);
}

const FunctionTable functions{
    vertexFunction<VS_Main>("Ondrix::PresentTexture::VS_Main"),
    fragmentFunction<FS_Main>("Ondrix::PresentTexture::FS_Main"),
};

}  // namespace
