// The GPU functions of the benchmarks, written as an application writes its own.

#include <ondrix/shading/Shading.h>

#include "FunctionConstants.h"

using namespace ondrix::shading;
using namespace ondrix::benchmarks;

namespace {

inline void applyLevels(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
                        const Constants<Levels, 0>& levels) {
    const Float gain = levels->gain, offset = levels->offset;
    out.write(p, in.read(p) * gain + Float4{offset, offset, offset, offset});
}

inline void square(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out) {
    const Float4 colour = in.read(p);
    out.write(p, colour * colour);
}

inline void mixInverse(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
                       const Constants<MixInverse, 0>& settings) {
    const Float4 colour = in.read(p);
    out.write(p, mix(colour, Float4{1, 1, 1, 1} - colour, settings->amount));
}

inline void convolve(const Position& p, const Texture<0>& in, const Target<1>& out,
                     const Constants<Kernel, 0>& kernel) {
    Float4 sum{0, 0, 0, 0};
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 5; ++x) sum += in.read(p + Offset{x - 2, y - 2}) * kernel->weights[y][x];
    }
    out.write(p, sum);
}

/// Every colour by a cubic table of colours: red along the row, green down, one square after another to the right for
/// blue.
inline void applyTable(const Position& p, const Texture<0, Reach::own>& in, const Target<1>& out,
                       const Texture<2>& table) {
    const Float4 colour = in.read(p);
    const Float4 result = lookUp(table, colour.xyz() * (table.height() - 1), table.height());
    out.write(p, Float4{result.x, result.y, result.z, colour.w});
}

inline VertexOut<Float2> placeQuad(VertexInput<Float3, 0> position, VertexInput<Float2, 1> texCoords,
                                   const Constants<Float4x4, 1>& transform) {
    return {*transform * Float4{position.x, position.y, 0, 1}, {texCoords}};
}

inline Sampled showImage(const Varying2& uv, const Texture<0>& image, const Sampler<0>& linear) {
    return image.sample(linear, uv);
}

const FunctionTable functions{
    computeFunction<applyLevels>("Bench::Levels"),    computeFunction<square>("Bench::Square"),
    computeFunction<mixInverse>("Bench::MixInverse"), computeFunction<convolve>("Bench::Convolve"),
    computeFunction<applyTable>("Bench::LookUp"),     vertexFunction<placeQuad>("Bench::PlaceQuad"),
    fragmentFunction<showImage>("Bench::ShowImage"),
};

}  // namespace
