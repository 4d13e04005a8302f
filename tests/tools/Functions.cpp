#include <ondrix/shading/Shading.h>

using namespace ondrix::shading;

namespace {

inline void CS_Invert(const Position& p, const Texture<0>& in, const Target<1>& out) {
    const Float4 colour = in.read(p);
    out.write(p, Float4{1 - colour.x, 1 - colour.y, 1 - colour.z, colour.w});
}

inline void CS_NeedsConstants(const Position& p, const Texture<0>& in, const Target<1>& out,
                              const Constants<float, 0>& gain) {
    out.write(p, in.read(p) * *gain);
}

inline VertexOut<> VS_Main(VertexInput<Float3, 0> position) {
    return {{position.x, position.y, position.z, 1}};
}

const FunctionTable functions{
    computeFunction<CS_Invert>("Test::Invert"),
    computeFunction<CS_NeedsConstants>("Test::NeedsConstants"),
    vertexFunction<VS_Main>("Test::Vertex"),
};

}  // namespace
