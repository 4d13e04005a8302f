#include "Edges.h"

#include "Pixels.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

// Sobel's operator on the brightness of the eight neighbours.
inline void CS_Main(const Position& p, const Texture<0>& in, const Target<1>& out,
                    const Constants<Edges, 0>& settings) {
    const auto neighbour = [&](int x, int y) { return luminance(readClamped(in, p, {x, y}).xyz()); };
    const Float topLeft = neighbour(-1, -1), topRight = neighbour(1, -1);
    const Float bottomLeft = neighbour(-1, 1), bottomRight = neighbour(1, 1);
    const Float2 gradient{topRight - topLeft + 2 * (neighbour(1, 0) - neighbour(-1, 0)) + bottomRight - bottomLeft,
                          bottomLeft - topLeft + 2 * (neighbour(0, 1) - neighbour(0, -1)) + bottomRight - topRight};
    const Float edge = length(gradient) * (settings->strength / 4);
    out.write(p, Float4{edge, edge, edge, in.read(p).w});
}

const FunctionTable functions{computeFunction<CS_Main>("Effects::Edges")};

}  // namespace
