// Triangles that interpolate the same planes are drawn together, as one span a row: the fast paths of shader modules
// depend on it, and no pixel shows it.
#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

#include <ondrix/platform/software/Pipeline.h>
#include <ondrix/platform/software/PrimitiveSetup.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;
using software::PrimitiveGroup;

namespace {

/// What a triangle strip of four vertices is turned into on a target of 1080 x 1921 pixels.
std::vector<PrimitiveGroup> groups(const std::array<Vertex, 4>& strip, software::ExecutionContext& context) {
    static const Gpu gpu(1);
    const auto pipeline =
        std::dynamic_pointer_cast<software::RenderPipeline>(gpu.render("vertexValue", "fragmentValue"));
    software::DrawCommand draw;
    draw.pipeline = pipeline.get();
    draw.fragment.entry = &pipeline->fragment();
    const shading::TextureView target{nullptr, 0, 1080, 1921, 125};
    software::PrimitiveSetup setup(draw, target, context);
    for (std::size_t first : {0u, 1u}) {
        const float* vertices[3] = {&strip[first].x, &strip[first + 1].x, &strip[first + 2].x};
        setup.add(vertices, 3);
    }
    return context.groups;
}

/// A quad with texture coordinates, scaled and turned in single precision; in the order of a strip.
std::array<Vertex, 4> turnedQuad(float angle, float scaleX, float scaleY) {
    const float c = std::cos(angle), s = std::sin(angle);
    std::array<Vertex, 4> strip{};
    for (std::size_t corner = 0; corner < 4; ++corner) {
        const float u = corner < 2 ? 0 : 1, v = corner % 2 == 0 ? 0 : 1;
        const float x = scaleX * (2 * u - 1), y = scaleY * (1 - 2 * v);
        strip[corner] = {c * x + s * y, -s * x + c * y, 0, 1, {u, v, 0, 0}};
    }
    return strip;
}

}  // namespace

// Quarter turns leave small residues in the matrix, as their angles are rounded.
TEST(Quads, BecomeOneGroupWithOneSpanARow) {
    for (const auto& quad :
         {turnedQuad(0, 1, 1), turnedQuad(0, 1, 0.31640625F), turnedQuad(0, 3.16F, 1), turnedQuad(1.57079625F, 1, 1),
          turnedQuad(3.1415925F, 0.5625F, 1), turnedQuad(4.7123889F, 1.3F, 0.7F), turnedQuad(0.12F, 0.9F, 0.9F)}) {
        software::ExecutionContext context(1);
        const auto found = groups(quad, context);
        ASSERT_EQ(found.size(), 1u);
        ASSERT_EQ(found[0].count, 2);
        std::vector<shading::Span> spans(64 * PrimitiveGroup::maximumSize);
        for (std::int32_t y = found[0].y0; y < found[0].y1; y += 64) {
            const std::int32_t end = std::min(y + 64, found[0].y1);
            EXPECT_LE(software::collectSpans(context.primitives, y, end, spans.data()), end - y);
        }
    }
    // The planes of an upright quad have no trace of the other axis, and start half a pixel from 0.
    software::ExecutionContext context(1);
    const auto task = groups(turnedQuad(0, 1, 1), context).at(0).task;
    const auto& [u, v] = std::tie(task.planes[0], task.planes[1]);
    EXPECT_EQ(task.perspective, 0);
    EXPECT_EQ(std::tuple(u.base, u.dx, u.dy), std::tuple(0.5 / 1080, 1.0 / 1080, 0.0));
    EXPECT_EQ(std::tuple(v.base, v.dx, v.dy), std::tuple(0.5 / 1921, 0.0, 1.0 / 1921));
}

TEST(Quads, ThatAreFoldedStayApart) {
    auto strip = turnedQuad(0, 1, 1);
    strip[3].values[0] = 1.0001F;
    software::ExecutionContext context(1);
    EXPECT_EQ(groups(strip, context).size(), 2u);
}
