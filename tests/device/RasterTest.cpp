// Which pixels points, lines and triangles cover, what is interpolated there, and what happens to the pixels around.
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include <gtest/gtest.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

const Color black = {0, 0, 0, 1};
using Picture = std::vector<std::string>;

/// One character a pixel: '.' for black, otherwise the digit of the first component.
Picture picture(const MTLTexture& texture) {
    Picture rows(texture.height());
    const auto drawn = colors(texture);
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        rows[i / texture.width()] += drawn[i] == black ? '.' : static_cast<char>('0' + std::lround(drawn[i][0]));
    }
    return rows;
}

std::vector<std::uint32_t> allIndices(const std::vector<Vertex>& vertices) {
    std::vector<std::uint32_t> indices(vertices.size());
    std::iota(indices.begin(), indices.end(), 0U);
    return indices;
}

struct Point {
    double x, y;
    float value = 1;
};

struct Shape {
    MTLPrimitiveType type;
    std::vector<Point> points;
    Picture expected;
};

const Picture square = {"......", ".111..", ".111..", ".111..", "......", "......"};

const Shape shapes[] = {
    {MTLPrimitiveType::point,
     {{0, 0, 1}, {2.9, 1.2, 2}, {4.5, 2.5, 3}, {5, 1, 4}, {-0.5, 1, 4}},
     {"1....", "..2..", "....3"}},
    // From the start up to but without the end, in both directions, wide and high.
    {MTLPrimitiveType::line, {{1.5, 1.5}, {5.5, 1.5}}, {".......", ".1111..", "......."}},
    {MTLPrimitiveType::line, {{5.5, 1.5}, {1.5, 1.5}}, {".......", "..1111.", "......."}},
    {MTLPrimitiveType::line, {{2.5, 0.5}, {2.5, 3.5}}, {"..1..", "..1..", "..1..", "....."}},
    {MTLPrimitiveType::line, {{0, 4}, {4, 0}}, {"...1", "..1.", ".1..", "1..."}},
    {MTLPrimitiveType::line, {{0, 1}, {7, 3.4}}, {".......", "111....", "...111.", "......1"}},
    {MTLPrimitiveType::line, {{2, 2}, {2, 2}}, {"....", "....", "...."}},
    // Halves of two rectangles of the same sides, which don't fill one.
    {MTLPrimitiveType::triangle, {{0, 0}, {4, 0}, {0, 4}, {0, 0}, {4, 0}, {4, 4}}, {"1111", "1111", "1.11", "...1"}},
    // The joint belongs to one line only, and values run along each line.
    {MTLPrimitiveType::lineStrip,
     {{0.5, 0.5, 1}, {4.5, 0.5, 5}, {4.5, 3.5, 8}},
     {"12345.", "....6.", "....7.", "......"}},
    // Every other triangle is turned around, and the last index counts.
    {MTLPrimitiveType::triangleStrip, {{0, 0}, {0, 2}, {2, 0}, {2, 2}, {4, 0}, {4, 2}, {6, 0}}, {"11111", "1111."}},
    // Edges through pixel centres, in both windings: the top and left ones belong to the shape, the others don't.
    {MTLPrimitiveType::triangleStrip, {{1.5, 1.5}, {1.5, 4.5}, {4.5, 1.5}, {4.5, 4.5}}, square},
    {MTLPrimitiveType::triangleStrip, {{1.5, 1.5}, {4.5, 1.5}, {1.5, 4.5}, {4.5, 4.5}}, square},
};

/// What a triangle shows at a pixel, by solving for the weights of its corners in long double; independent of how the
/// device does it. Nothing outside the triangle, and `nearEdge` where rounding may decide.
struct Reference {
    using Real = long double;

    Reference(const std::vector<Vertex>& v, Real px, Real py) {
        // The corners' weights k with sum k (x, y, w) parallel to (px, py, 1).
        std::array<Real, 3> k{};
        for (std::size_t i = 0; i < 3; ++i) {
            const Vertex &a = v[(i + 1) % 3], &b = v[(i + 2) % 3];
            k[i] = px * (Real(a.y) * b.w - Real(a.w) * b.y) + py * (Real(a.w) * b.x - Real(a.x) * b.w) +
                   (Real(a.x) * b.y - Real(a.y) * b.x);
        }
        const Real sum = k[0] + k[1] + k[2];
        Real w = 0, z = 0, least = 1;
        for (std::size_t i = 0; i < 3; ++i) {
            k[i] /= sum;
            least = std::min(least, k[i]);
            w += k[i] * v[i].w;
            z += k[i] * v[i].z;
            for (std::size_t c = 0; c < 4; ++c) values[c] += k[i] * v[i].values[c];
        }
        inside = least >= 0 && z >= 0 && z <= w && w > 0;
        nearEdge = std::abs(least) < 0.01L || std::abs(z) < 0.01L || std::abs(z - w) < 0.01L;
    }

    bool inside = false, nearEdge = false;
    std::array<Real, 4> values{};
};

struct Triangle {
    std::vector<Vertex> corners;
    int least, most;  ///< pixels that show it
};

const Vertex a{-0.7F, 0.5F, 0.3F, 1, {1, 0, 0, 0}}, b{0.6F, 0.7F, 0.4F, 1.2F, {0, 1, 0, 0}};
const Triangle triangles[] = {
    {{{-0.9F, 0.8F, 0.2F, 1, {0, 0, 1, 0}}, {-1.5F, -1.7F, 0.5F, 2, {1, 0, 0, 0}}, {3, -0.3F, 1, 3.5F, {0, 1, 0, 1}}},
     300,
     3000},
    {{a, b, {0.2F, -0.5F, -0.4F, -0.6F, {0, 0, 1, 1}}}, 100, 3000},  // partly behind the eye
    {{a, b, {0.1F, -0.9F, -0.8F, 1, {0, 0, 1, 1}}}, 100, 3000},      // over the near plane
    {{a, b, {0.1F, -0.9F, 1.9F, 1, {0, 0, 1, 1}}}, 100, 3000},       // over the far plane
    // Far larger than the band around the target.
    {{{-9e6F, 7e6F, 0.5F, 1, {1}}, {8e6F, 9e6F, 0.5F, 1, {0, 1}}, {1e6F, -9e6F, 0.5F, 1, {0, 0, 1, 1}}}, 2000, 3000},
    {{{-1, -1, 0.5F, -1, {}}, {1, -1, 0.5F, -1, {}}, {0, 1, 0.5F, -2, {}}}, 0, 0},  // behind the eye
    // Without area, or at positions that aren't numbers.
    {{a, a, b}, 0, 0},
    {{{-1, 1, 0, 1, {1}}, {1, -1, 0, 1, {1}}, {0, 0, 0, 1, {1}}}, 0, 0},
    {{a, b, {std::numeric_limits<float>::infinity(), 0, 0, 1}}, 0, 0},
    {{a, b, {0, std::numeric_limits<float>::quiet_NaN(), 0, 1}}, 0, 0},
    {std::vector<Vertex>(3), 0, 0},
};

}  // namespace

TEST(Primitives, CoverTheirPixels) {
    const Gpu gpu;
    for (const auto& [type, points, expected] : shapes) {
        const auto target = gpu.texture(expected[0].size(), expected.size());
        std::vector<Vertex> vertices;
        for (const auto& [x, y, value] : points) vertices.push_back(at(*target, x, y, {value}));
        gpu.draw(target, vertices, allIndices(vertices), type);
        EXPECT_EQ(picture(*target), expected);
    }
}

// A line that runs through the eye plane shows its front part, with values of the whole.
TEST(Primitives, LinesAreClippedInPerspective) {
    const Gpu gpu;
    const auto target = gpu.texture(8, 1);
    // x / w = 0 at the start and grows without end towards w = 0: the visible part ends where x = w, a third along.
    gpu.draw(target, {{0, 0, 0.1F, 1, {2}}, {2, 0, -0.1F, -1, {8}}}, {0, 1}, MTLPrimitiveType::line);
    const auto drawn = colors(*target);
    for (std::size_t x = 0; x < 4; ++x) EXPECT_EQ(drawn[x], black) << x;
    for (std::size_t x = 4; x < 8; ++x) {
        const double ndc = (static_cast<double>(x) + 0.5) / 4 - 1;
        EXPECT_NEAR(drawn[x][0], 2 + 6 * ndc / (2 + 2 * ndc), 1e-5) << x;  // x / w = 2 t / (1 - 2 t)
    }
}

// Indices with an offset, numbers that lie far apart, and vertices beyond the buffer, which read as zero.
TEST(Primitives, IndicesNameVertices) {
    const Gpu gpu;
    const auto target = gpu.texture(4, 1);
    std::vector<Vertex> vertices(40000);
    vertices[0] = at(*target, 0.5, 0.5, {1});
    vertices[2] = at(*target, 1.5, 0.5, {2});
    vertices[39999] = at(*target, 3.5, 0.5, {3});
    const auto point = MTLPrimitiveType::point;
    gpu.draw(target, vertices, std::vector<std::uint16_t>{1, 0, 39999, 2, 65535}, point, MTLLoadAction::clear, 1);
    EXPECT_EQ(picture(*target), (Picture{"12.3"}));
    gpu.draw(target, vertices, std::vector<std::uint32_t>{1, 0, 39999, 2, 0xFFFFFFFF}, point, MTLLoadAction::clear, 1);
    EXPECT_EQ(picture(*target), (Picture{"12.3"}));
}

// More primitives than are set up at once: nothing is lost or cleared at the seams.
TEST(Primitives, LongListsAreDrawnWhole) {
    const Gpu gpu;
    const auto target = gpu.texture(128, 128);
    std::vector<Vertex> vertices;
    for (int pixel = 0; pixel < 128 * 128; ++pixel) {
        vertices.push_back(at(*target, pixel % 128 + 0.5, pixel / 128 + 0.5, {static_cast<float>(pixel)}));
    }
    gpu.draw(target, vertices, allIndices(vertices), MTLPrimitiveType::point);
    const auto drawn = colors(*target);
    for (std::size_t pixel = 0; pixel < drawn.size(); ++pixel) ASSERT_EQ(drawn[pixel][0], static_cast<float>(pixel));
}

// Perspective, clipping, and what can't be drawn: what is left keeps the whole triangle's values.
TEST(Triangles, ShowWhatTheReferenceShows) {
    const Gpu gpu;
    const auto target = gpu.texture(61, 47);
    for (const auto& [corners, least, most] : triangles) {
        gpu.draw(target, corners, {0, 1, 2}, MTLPrimitiveType::triangle);
        const auto drawn = colors(*target);
        int shown = 0;
        for (std::size_t i = 0; i < drawn.size(); ++i) {
            const Reference expected(corners, (i % 61 + 0.5L) / 61 * 2 - 1, 1 - (i / 61 + 0.5L) / 47 * 2);
            if (expected.nearEdge) continue;
            shown += expected.inside;
            for (std::size_t c = 0; c < 4; ++c) {
                const auto value = expected.inside ? static_cast<double>(expected.values[c]) : black[c];
                EXPECT_NEAR(drawn[i][c], value, 2e-6) << i % 61 << " " << i / 61 << " " << c;
            }
        }
        EXPECT_TRUE(shown >= least && shown <= most) << shown;
    }
}

// The clear colour fills what no draw covers; other load actions keep it.
TEST(LoadActions, ClearAroundADrawAndKeep) {
    const Gpu gpu;
    const auto target = gpu.texture(9, 70);
    const Color five = {5, 5, 5, 5};
    const std::vector<Vertex> vertices = {at(*target, 2, 20, five), at(*target, 7, 20, five), at(*target, 2, 50, five),
                                          at(*target, 7, 50, five)};
    const std::pair<MTLLoadAction, Color> steps[] = {
        {MTLLoadAction::load, {}}, {MTLLoadAction::clear, black}, {MTLLoadAction::load, black}};
    for (const auto& [loadAction, around] : steps) {
        gpu.draw(target, vertices, {0, 1, 2, 3}, MTLPrimitiveType::triangleStrip, loadAction);
        const auto drawn = colors(*target);
        for (std::size_t i = 0; i < drawn.size(); ++i) {
            const std::size_t x = i % 9, y = i / 9;
            ASSERT_EQ(drawn[i], x >= 2 && x < 7 && y >= 20 && y < 50 ? five : around) << x << " " << y;
        }
    }
}

TEST(LoadActions, ClearInTheFormatOfTheTarget) {
    const Gpu gpu;
    const std::tuple<MTLPixelFormat, MTLClearColor, std::vector<std::uint8_t>> cases[] = {
        {MTLPixelFormat::bgra8Unorm, {0.25, 0.5, 2, -1}, {255, 128, 64, 0}},
        {MTLPixelFormat::rgba8Unorm_srgb, {0.25, 0.5, 1, 0.5}, {137, 188, 255, 128}},
        {MTLPixelFormat::rg8Unorm, {1, std::numeric_limits<double>::quiet_NaN(), 0, 0}, {255, 0}},
        {MTLPixelFormat::r16Float, {-2}, {0x00, 0xC0}},
        {MTLPixelFormat::rg32Float, {1, 0.5, 0, 0}, {0, 0, 0x80, 0x3F, 0, 0, 0, 0x3F}}};
    for (const auto& [format, color, pixel] : cases) {
        const auto target = gpu.texture(3, 2, format);
        auto commands = gpu.queue->makeCommandBuffer();
        commands->makeRenderCommandEncoder({target, MTLLoadAction::clear, MTLStoreAction::store, color})->endEncoding();
        run(*commands);
        std::vector<std::uint8_t> expected;
        for (int i = 0; i < 6; ++i) expected.insert(expected.end(), pixel.begin(), pixel.end());
        EXPECT_EQ(bytes(*target), expected) << description(format);
    }
}
