#include <algorithm>

#include <ondrix/shading/Shading.h>

#include "Constants.h"

using namespace ondrix::shading;
using namespace ondrix::effects::functions;

namespace {

/// How many rows of a picture are counted, evenly spread: all of them up to 128.
inline int rowsOf(const Texture<0>& picture) {
    return std::min(picture.height(), 128);
}

/// Counts, for each column of the picture, the pixels of each level: the output's row is the level, and each pixel that
/// has it adds 1 / 255. Red, green and blue are counted separately.
inline void CS_Count(const Position& p, const Texture<0>& in, const Target<1>& counts) {
    Float4 count{0, 0, 0, 0};
    const Float level = p.y * (1.0f / 255);
    const auto one = [&](Float component) { return select(abs(component - level) < 0.5f / 255, Float(1), Float(0)); };
    for (int i = 0; i < rowsOf(in); i++) {
        const Texel colour = in.read(p + Offset{0, i * in.height() / rowsOf(in) - p.y});
        count += Float4{one(colour.x), one(colour.y), one(colour.z), 0};
    }
    counts.write(p, count * (1.0f / 255.0f));
}

/// Adds up the counts of all columns, as shares of all pixels. The output is one row, whose column is the level.
inline void CS_Sum(const Position& p, const Texture<0>& in, const Texture<1>& counts,
                   const Target<2, Format::rgba32f>& sums) {
    Float4 sum{0, 0, 0, 0};
    for (int x = 0; x < counts.width(); x++) sum += counts.read(Int2{x, Int2(p).x});
    sums.write(p, sum * (255 / (1.0f * rowsOf(in) * counts.width())));
}

/// Draws a waveform or a histogram over the bottom of the picture, which shows through darkened.
inline void CS_Draw(const Position& p, const Texture<0>& in, const Texture<1>& counts,
                    const Texture<2, Format::rgba32f>& sums, const Target<3>& out,
                    const Constants<Scope, 0>& settings) {
    const int rows = static_cast<int>(in.height() * settings->height + 0.5f), row = in.height() - 1 - p.y;
    if (row >= rows) return out.write(p, in.read(p));
    Float4 trace{0, 0, 0, 0};
    if (settings->histogram != 0) {
        const Float4 reached = sums.read(Int2{toInt(p.center().x * 256 / in.width()), 0}) * (32 * settings->gain);
        const auto filled = [&](Float share) { return select(share * rows > row + 0.5f, Float(0.75f), Float(0)); };
        trace = {filled(reached.x), filled(reached.y), filled(reached.z), 0};
    } else {
        const int first = row * 256 / rows, last = std::max(first + 1, (row + 1) * 256 / rows);
        for (int level = first; level < last; level++) trace += counts.read(p + Offset{0, level - p.y});
        trace = trace * (255 * 16 * settings->gain / rowsOf(in));
    }
    const Float4 dimmed = in.read(p) * 0.25f;
    out.write(p, Float4{dimmed.x + trace.x, dimmed.y + trace.y, dimmed.z + trace.z, 1});
}

const FunctionTable functions{computeFunction<CS_Count>("Effects::Scope::Count"),
                              computeFunction<CS_Sum>("Effects::Scope::Sum"),
                              computeFunction<CS_Draw>("Effects::Scope::Draw")};

}  // namespace
