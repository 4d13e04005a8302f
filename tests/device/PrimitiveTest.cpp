// Points, lines, strips and indices, and what a render pass does to the pixels around its draws.
#include <cmath>
#include <limits>
#include <numeric>

#include <gtest/gtest.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

const Color black = {0, 0, 0, 1};

/// One character a pixel: '.' for black, otherwise the digit of the first component.
std::vector<std::string> picture(const MTLTexture& texture) {
    std::vector<std::string> rows;
    const auto drawn = colors(texture);
    for (std::size_t y = 0; y < texture.height(); ++y) {
        std::string row;
        for (std::size_t x = 0; x < texture.width(); ++x) {
            const Color& color = drawn[y * texture.width() + x];
            row += color == black ? '.' : static_cast<char>('0' + std::lround(color[0]));
        }
        rows.push_back(row);
    }
    return rows;
}

using Picture = std::vector<std::string>;

}  // namespace

TEST(Primitives, Points) {
    const Gpu gpu;
    const auto target = gpu.texture(5, 3);
    gpu.draw(target,
             {at(*target, 0, 0, {1, 0, 0, 0}), at(*target, 2.9, 1.2, {2, 0, 0, 0}), at(*target, 4.5, 2.5, {3, 0, 0, 0}),
              at(*target, 5, 1, {4, 0, 0, 0}), at(*target, -0.5, 1, {4, 0, 0, 0})},
             {0, 1, 2, 3, 4}, MTLPrimitiveType::point);
    EXPECT_EQ(picture(*target), (Picture{"1....", "..2..", "....3"}));
}

// From the start up to but without the end, in both directions, wide and high.
TEST(Primitives, LinesAreHalfOpen) {
    const Gpu gpu;
    const auto target = gpu.texture(7, 7);
    const auto line = [&](double x0, double y0, double x1, double y1) {
        gpu.draw(target, {at(*target, x0, y0, {1, 0, 0, 0}), at(*target, x1, y1, {1, 0, 0, 0})}, {0, 1},
                 MTLPrimitiveType::line);
        return picture(*target);
    };
    const Picture empty(7, ".......");
    Picture expected = empty;
    expected[2] = ".1111..";
    EXPECT_EQ(line(1.5, 2.5, 5.5, 2.5), expected);
    expected[2] = "..1111.";
    EXPECT_EQ(line(5.5, 2.5, 1.5, 2.5), expected);
    EXPECT_EQ(line(3.5, 0.5, 3.5, 3.5),
              (Picture{"...1...", "...1...", "...1...", ".......", ".......", ".......", "......."}));
    EXPECT_EQ(line(0, 7, 7, 0), (Picture{"......1", ".....1.", "....1..", "...1...", "..1....", ".1.....", "1......"}));
    EXPECT_EQ(line(0, 1, 7, 3.4),
              (Picture{".......", "111....", "...111.", "......1", ".......", ".......", "......."}));
    EXPECT_EQ(line(2, 2, 2, 2), empty);
}

// The joint of a strip is drawn by one of its lines only, and values run along each line.
TEST(Primitives, LineStripsInterpolateAlongTheLine) {
    const Gpu gpu;
    const auto target = gpu.texture(6, 4);
    gpu.draw(
        target,
        {at(*target, 0.5, 0.5, {1, 0, 0, 0}), at(*target, 4.5, 0.5, {5, 0, 0, 0}), at(*target, 4.5, 3.5, {8, 0, 0, 0})},
        {0, 1, 2}, MTLPrimitiveType::lineStrip);
    EXPECT_EQ(picture(*target), (Picture{"12345.", "....6.", "....7.", "......"}));
}

// A line that runs through the eye plane shows its front part, with values of the whole.
TEST(Primitives, LinesAreClippedInPerspective) {
    const Gpu gpu;
    const auto target = gpu.texture(8, 1);
    // x / w = 0 at the start and grows without end towards w = 0: the visible part ends where x = w, a third along.
    gpu.draw(target, {{0, 0, 0.1F, 1, {2, 0, 0, 0}}, {2, 0, -0.1F, -1, {8, 0, 0, 0}}}, {0, 1}, MTLPrimitiveType::line);
    const auto drawn = colors(*target);
    for (std::size_t x = 0; x < 8; ++x) {
        const double ndc = (static_cast<double>(x) + 0.5) / 4 - 1;
        const double along = ndc / (2 + 2 * ndc);  // x / w = 2 t / (1 - 2 t)
        if (x < 4) {
            EXPECT_EQ(drawn[x], black) << x;
        } else {
            EXPECT_NEAR(drawn[x][0], 2 + 6 * along, 1e-5) << x;
        }
    }
}

class IndexTypes : public testing::TestWithParam<MTLIndexType> {};

// Indices with an offset, numbers that lie far apart, and vertices beyond the buffer, which read as zero.
TEST_P(IndexTypes, NameVertices) {
    const Gpu gpu;
    const auto target = gpu.texture(4, 1);
    std::vector<Vertex> vertices(40000);
    vertices[0] = at(*target, 0.5, 0.5, {1, 0, 0, 0});
    vertices[2] = at(*target, 1.5, 0.5, {2, 0, 0, 0});
    vertices[39999] = at(*target, 3.5, 0.5, {3, 0, 0, 0});
    std::shared_ptr<MTLBuffer> indices;
    std::int64_t offset = 0;
    if (GetParam() == MTLIndexType::uint16) {
        indices = gpu.buffer(std::vector<std::uint16_t>{1, 0, 39999, 2, 65535});
        offset = 2;
    } else {
        indices = gpu.buffer(std::vector<std::uint32_t>{1, 0, 39999, 2, 0xFFFFFFFF});
        offset = 4;
    }
    auto commands = gpu.queue->makeCommandBuffer();
    auto encoder = commands->makeRenderCommandEncoder({target, MTLLoadAction::clear, MTLStoreAction::store, {}});
    encoder->setRenderPipelineState(gpu.render("vertexValue", "fragmentValue"));
    encoder->setVertexBuffer(gpu.buffer(vertices), 0, 0);
    encoder->drawIndexedPrimitives(MTLPrimitiveType::point, 4, GetParam(), indices, offset);
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    ASSERT_EQ(commands->status(), MTLCommandBufferStatus::completed);
    EXPECT_EQ(picture(*target), (Picture{"12.3"}));
}

INSTANTIATE_TEST_SUITE_P(Types, IndexTypes, testing::Values(MTLIndexType::uint16, MTLIndexType::uint32));

// More primitives than are set up at once: nothing is lost or cleared at the seams.
TEST(Primitives, LongStripsAreDrawnWhole) {
    const Gpu gpu;
    const auto target = gpu.texture(128, 128);
    std::vector<Vertex> vertices;
    for (int pixel = 0; pixel < 128 * 128; ++pixel) {
        vertices.push_back(at(*target, pixel % 128 + 0.5, pixel / 128 + 0.5, {static_cast<float>(pixel), 0, 0, 0}));
    }
    std::vector<std::uint32_t> indices(vertices.size());
    std::iota(indices.begin(), indices.end(), 0U);
    gpu.draw(target, vertices, indices, MTLPrimitiveType::point);
    const auto drawn = colors(*target);
    for (std::size_t pixel = 0; pixel < drawn.size(); ++pixel) ASSERT_EQ(drawn[pixel][0], static_cast<float>(pixel));
}

// Strips of triangles turn every other one around; all of them are drawn, and the last index counts.
TEST(Primitives, TriangleStripsCoverARibbon) {
    const Gpu gpu;
    const auto target = gpu.texture(50, 10);
    std::vector<Vertex> vertices;
    for (int step = 0; step <= 10; ++step) {
        vertices.push_back(at(*target, step * 5, 0, {1, 0, 0, 0}));
        vertices.push_back(at(*target, step * 5, 10, {1, 0, 0, 0}));
    }
    std::vector<std::uint32_t> indices(vertices.size());
    std::iota(indices.begin(), indices.end(), 0U);
    gpu.draw(target, vertices, indices, MTLPrimitiveType::triangleStrip);
    EXPECT_EQ(picture(*target), Picture(10, std::string(50, '1')));
}

// The clear colour fills what no draw covers, in the target's own format; other load actions keep it.
TEST(LoadActions, ClearAroundADrawAndKeep) {
    const Gpu gpu;
    const auto target = gpu.texture(9, 70);
    const std::vector<Vertex> vertices = {at(*target, 2, 20, {5, 5, 5, 5}), at(*target, 7, 20, {5, 5, 5, 5}),
                                          at(*target, 2, 50, {5, 5, 5, 5}), at(*target, 7, 50, {5, 5, 5, 5})};
    const auto expectBox = [&](const Color& around) {
        const auto drawn = colors(*target);
        for (std::size_t y = 0; y < 70; ++y) {
            for (std::size_t x = 0; x < 9; ++x) {
                const bool box = x >= 2 && x < 7 && y >= 20 && y < 50;
                ASSERT_EQ(drawn[y * 9 + x], box ? (Color{5, 5, 5, 5}) : around) << x << " " << y;
            }
        }
    };
    gpu.draw(target, vertices, {0, 1, 2, 3}, MTLPrimitiveType::triangleStrip, MTLLoadAction::load);
    expectBox({0, 0, 0, 0});
    gpu.draw(target, vertices, {0, 1, 2, 3}, MTLPrimitiveType::triangleStrip, MTLLoadAction::clear);
    expectBox(black);
    gpu.draw(target, vertices, {0, 1, 2, 3}, MTLPrimitiveType::triangleStrip, MTLLoadAction::load);
    expectBox(black);
}

struct ClearCase {
    MTLPixelFormat format;
    MTLClearColor color;
    std::vector<std::uint8_t> pixel;
};

class ClearFormats : public testing::TestWithParam<ClearCase> {};

TEST_P(ClearFormats, StoreTheColour) {
    const Gpu gpu;
    const auto target = gpu.texture(3, 2, GetParam().format);
    auto commands = gpu.queue->makeCommandBuffer();
    commands->makeRenderCommandEncoder({target, MTLLoadAction::clear, MTLStoreAction::store, GetParam().color})
        ->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    std::vector<std::uint8_t> expected;
    for (int pixel = 0; pixel < 6; ++pixel) {
        expected.insert(expected.end(), GetParam().pixel.begin(), GetParam().pixel.end());
    }
    EXPECT_EQ(bytes(*target), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, ClearFormats,
    testing::Values(ClearCase{MTLPixelFormat::bgra8Unorm, {0.25, 0.5, 2, -1}, {255, 128, 64, 0}},
                    ClearCase{MTLPixelFormat::rgba8Unorm_srgb, {0.25, 0.5, 1, 0.5}, {137, 188, 255, 128}},
                    ClearCase{MTLPixelFormat::rg8Unorm, {1, std::numeric_limits<double>::quiet_NaN(), 0, 0}, {255, 0}},
                    ClearCase{MTLPixelFormat::r16Float, {-2, 0, 0, 0}, {0x00, 0xC0}},
                    ClearCase{MTLPixelFormat::rg32Float, {1, 0.5, 0, 0}, {0, 0, 0x80, 0x3F, 0, 0, 0, 0x3F}}));
