// Functions that weigh a pixel against those around it.

#include <algorithm>

#include "Constants.h"
#include "Pixels.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

/// The pixels `offset` away from a position inside the texture; beyond an edge those at the edge.
inline Texel readClamped(const auto& texture, const Position& p, Offset offset) {
    const int x = p.x + offset.x, y = std::clamp(p.y + offset.y, 0, texture.height() - 1);
    if (x >= 0 && x + p.count <= texture.width()) return texture.read(p + Offset{offset.x, y - p.y});
    const Int columns = clamp(Int2(p).x + offset.x, 0, texture.width() - 1);
    return texture.read(Int2{columns, y});
}

constexpr NearRows columnRows{GaussianWeights::largestRadius, GaussianWeights::largestRadius};

/// The pixels blurred along a row, with {1, 0}, or a column, with {0, 1}.
inline Float4 blurred(const auto& in, const Position& p, const GaussianWeights& gaussian, Offset along) {
    Float4 sum = in.read(p) * gaussian.weights[0];
    for (int i = 1; i <= gaussian.reach; ++i) {
        const Float4 before = readClamped(in, p, {-i * along.x, -i * along.y});
        const Float4 after = readClamped(in, p, {i * along.x, i * along.y});
        sum += (before + after) * gaussian.weights[i];
    }
    return sum;
}

// Sobel's operator on the brightness of the eight neighbours.
inline void CS_Edges(const Position& p, const Texture<0, NearRows{1, 1}>& in, const Target<1>& out,
                     const Constants<Edges, 0>& settings) {
    const auto neighbour = [&](int x, int y) { return luminance(readClamped(in, p, {x, y}).xyz()); };
    const Float topLeft = neighbour(-1, -1), topRight = neighbour(1, -1);
    const Float bottomLeft = neighbour(-1, 1), bottomRight = neighbour(1, 1);
    const Float2 gradient{topRight - topLeft + 2 * (neighbour(1, 0) - neighbour(-1, 0)) + bottomRight - bottomLeft,
                          bottomLeft - topLeft + 2 * (neighbour(0, 1) - neighbour(0, -1)) + bottomRight - topRight};
    const Float edge = length(gradient) * (settings->strength / 4);
    out.write(p, Float4{edge, edge, edge, in.read(p).w});
}

inline void CS_BlurRows(const Position& p, const Texture<0, NearRows{}>& in, const Target<1>& out,
                        const Constants<GaussianWeights, 0>& gaussian) {
    out.write(p, blurred(in, p, *gaussian, {1, 0}));
}

inline void CS_BlurColumns(const Position& p, const Texture<0, columnRows>& in, const Target<1>& out,
                           const Constants<GaussianWeights, 0>& gaussian) {
    out.write(p, blurred(in, p, *gaussian, {0, 1}));
}

// `rows` is `in` blurred along its rows.
inline void CS_UnsharpMask(const Position& p, const Texture<0, columnRows>& rows, const Texture<1, Reach::own>& in,
                           const Target<2>& out, const Constants<UnsharpMask, 0>& settings) {
    const Texel colour = in.read(p);
    const Float4 blur = blurred(rows, p, settings->gaussian, {0, 1});
    const auto sharpened = [&](Float component, Float around) {
        const Float difference = component - around;
        return select(abs(difference) >= settings->threshold, component + difference * settings->amount, component);
    };
    out.write(p,
              Float4{sharpened(colour.x, blur.x), sharpened(colour.y, blur.y), sharpened(colour.z, blur.z), colour.w});
}

const FunctionTable functions{
    computeFunction<CS_Edges>("Effects::Edges"),
    computeFunction<CS_BlurRows>("Effects::GaussianBlur::Rows"),
    computeFunction<CS_BlurColumns>("Effects::GaussianBlur::Columns"),
    computeFunction<CS_UnsharpMask>("Effects::UnsharpMask"),
};

}  // namespace
