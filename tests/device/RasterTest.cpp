// Which pixels triangles cover, and what is interpolated there.
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

const std::vector<std::uint32_t> quad = {0, 1, 3, 2};
const Color untouched = {0, 0, 0, 1};

/// The quad that spans the clip space, with u, v from the top-left corner.
std::vector<Vertex> fullQuad() {
    return {{-1, 1, 0, 1, {0, 0, 7, 1}},
            {-1, -1, 0, 1, {0, 1, 7, 1}},
            {1, -1, 0, 1, {1, 1, 7, 1}},
            {1, 1, 0, 1, {1, 0, 7, 1}}};
}

/// What a triangle shows at a pixel, by solving for the weights of its corners in long double; independent of how the
/// device does it. Nothing outside the triangle, and `nearEdge` where rounding may decide.
struct Reference {
    using Real = long double;
    const std::vector<Vertex>& v;
    Real width, height;

    struct Result {
        bool inside = false, nearEdge = false;
        std::array<Real, 4> values{};
    };

    [[nodiscard]] Result shown(int x, int y) const {
        const Real px = (x + 0.5L) / width * 2 - 1, py = 1 - (y + 0.5L) / height * 2;
        // The corners' weights k with sum k (x, y, w) parallel to (px, py, 1).
        std::array<Real, 3> k{};
        for (std::size_t i = 0; i < 3; ++i) {
            const Vertex &a = v[(i + 1) % 3], &b = v[(i + 2) % 3];
            k[i] = px * (Real(a.y) * b.w - Real(a.w) * b.y) + py * (Real(a.w) * b.x - Real(a.x) * b.w) +
                   (Real(a.x) * b.y - Real(a.y) * b.x);
        }
        const Real sum = k[0] + k[1] + k[2];
        Result result;
        Real w = 0, z = 0, least = 1;
        for (std::size_t i = 0; i < 3; ++i) {
            k[i] /= sum;
            least = std::min(least, k[i]);
            w += k[i] * v[i].w;
            z += k[i] * v[i].z;
            for (std::size_t c = 0; c < 4; ++c) result.values[c] += k[i] * v[i].values[c];
        }
        result.inside = least >= 0 && z >= 0 && z <= w && w > 0;
        result.nearEdge = std::abs(least) < 0.01L || std::abs(z) < 0.01L || std::abs(z - w) < 0.01L;
        return result;
    }
};

/// Draws one triangle and compares every pixel that isn't at its edge; returns how many showed it.
int compareWithReference(const Gpu& gpu, const std::vector<Vertex>& triangle) {
    const auto target = gpu.texture(61, 47);
    gpu.draw(target, triangle, {0, 1, 2}, MTLPrimitiveType::triangle);
    const auto drawn = colors(*target);
    const Reference reference{triangle, 61, 47};
    int shown = 0;
    for (int y = 0; y < 47; ++y) {
        for (int x = 0; x < 61; ++x) {
            const auto expected = reference.shown(x, y);
            if (expected.nearEdge) continue;
            const Color& color = drawn[static_cast<std::size_t>(y * 61 + x)];
            if (!expected.inside) {
                EXPECT_EQ(color, untouched) << x << " " << y;
                continue;
            }
            ++shown;
            for (std::size_t c = 0; c < 4; ++c) {
                EXPECT_NEAR(color[c], static_cast<double>(expected.values[c]), 2e-6) << x << " " << y << " " << c;
            }
        }
    }
    return shown;
}

}  // namespace

class FullQuad : public testing::TestWithParam<std::pair<int, int>> {};

// A gap or an overlap on the diagonal, and coordinates that drift from (x + 0.5) / width.
TEST_P(FullQuad, CoversEveryPixelWithExactCoordinates) {
    const auto [width, height] = GetParam();
    const Gpu gpu;
    const auto target = gpu.texture(static_cast<unsigned>(width), static_cast<unsigned>(height));
    gpu.draw(target, fullQuad(), quad, MTLPrimitiveType::triangleStrip, MTLLoadAction::load);
    const auto drawn = colors(*target);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Color expected = {static_cast<float>((x + 0.5) / width), static_cast<float>((y + 0.5) / height), 7,
                                    1};
            const Color& color = drawn[static_cast<std::size_t>(y * width + x)];
            ASSERT_FLOAT_EQ(color[0], expected[0]) << x << " " << y;
            ASSERT_FLOAT_EQ(color[1], expected[1]) << x << " " << y;
            ASSERT_EQ(color[2], 7) << x << " " << y;
            // No trace of the other axis.
            ASSERT_EQ(color[0], drawn[static_cast<std::size_t>(x)][0]);
            ASSERT_EQ(color[1], drawn[static_cast<std::size_t>(y * width)][1]);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, FullQuad,
                         testing::Values(std::pair{1, 1}, std::pair{2, 1}, std::pair{1, 127}, std::pair{127, 2},
                                         std::pair{251, 127}, std::pair{17, 251}, std::pair{640, 65}));

// Edges through pixel centres: the top and left ones belong to the shape, the others don't.
TEST(Triangles, TopLeftRule) {
    const Gpu gpu;
    const auto target = gpu.texture(6, 6);
    for (const bool turned : {false, true}) {  // both windings
        const std::vector<std::uint32_t> indices =
            turned ? std::vector<std::uint32_t>{0, 3, 1, 2} : std::vector<std::uint32_t>{0, 1, 3, 2};
        gpu.draw(target,
                 {at(*target, 1.5, 1.5, {1, 1, 1, 1}), at(*target, 1.5, 4.5, {1, 1, 1, 1}),
                  at(*target, 4.5, 4.5, {1, 1, 1, 1}), at(*target, 4.5, 1.5, {1, 1, 1, 1})},
                 indices, MTLPrimitiveType::triangleStrip);
        const auto drawn = colors(*target);
        for (std::size_t y = 0; y < 6; ++y) {
            for (std::size_t x = 0; x < 6; ++x) {
                const bool covered = x >= 1 && x < 4 && y >= 1 && y < 4;
                EXPECT_EQ(drawn[y * 6 + x][0], covered ? 1 : 0) << x << " " << y;
            }
        }
    }
}

// A net of odd triangles over the whole target: each pixel belongs to exactly one of them.
TEST(Triangles, SharedEdgesAreDrawnOnce) {
    const Gpu gpu;
    constexpr std::uint32_t cells = 7, side = 53;
    std::mt19937 random(5);
    std::uniform_real_distribution<double> jitter(-3.5, 3.5);
    const auto target = gpu.texture(side, side);
    std::vector<Vertex> vertices;
    for (std::size_t row = 0; row <= cells; ++row) {
        for (std::size_t column = 0; column <= cells; ++column) {
            double x = static_cast<double>(column * side) / cells, y = static_cast<double>(row * side) / cells;
            // Some corners lie on pixel centres, where the rule decides.
            if (column > 0 && column < cells) x = column % 2 == 0 ? std::floor(x) + 0.5 : x + jitter(random);
            if (row > 0 && row < cells) y = row % 2 == 0 ? std::floor(y) + 0.5 : y + jitter(random);
            vertices.push_back(at(*target, x, y, {1, 1, 1, 1}));
        }
    }
    std::vector<int> times(side * side);
    for (std::uint32_t row = 0; row < cells; ++row) {
        for (std::uint32_t column = 0; column < cells; ++column) {
            const std::uint32_t a = row * (cells + 1) + column, b = a + 1, c = a + cells + 1, d = c + 1;
            for (const std::vector<std::uint32_t>& triangle : {std::vector{a, b, c}, std::vector{d, b, c}}) {
                gpu.draw(target, vertices, triangle, MTLPrimitiveType::triangle);
                const auto drawn = colors(*target);
                for (std::size_t pixel = 0; pixel < times.size(); ++pixel) times[pixel] += drawn[pixel][0] == 1;
            }
        }
    }
    EXPECT_EQ(std::count(times.begin(), times.end(), 1), static_cast<std::ptrdiff_t>(times.size()));
}

// Neighbours with different values, in one draw: the later one must not run over the earlier one's pixels.
TEST(Triangles, NeighboursOfOneDrawKeepTheirValues) {
    const Gpu gpu;
    const auto target = gpu.texture(33, 20);
    const Color red = {1, 0, 0, 1}, green = {0, 1, 0, 1};
    gpu.draw(target,
             {at(*target, 0, 0, red), at(*target, 0, 20, red), at(*target, 33, 0, red), at(*target, 33, 0, green),
              at(*target, 0, 20, green), at(*target, 33, 20, green)},
             {0, 1, 2, 3, 4, 5}, MTLPrimitiveType::triangle);
    const auto drawn = colors(*target);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 33; ++x) {
            const double side = (x + 0.5) / 33 + (y + 0.5) / 20 - 1;
            if (std::abs(side) < 1e-3) continue;
            EXPECT_EQ(drawn[static_cast<std::size_t>(y * 33 + x)], side < 0 ? red : green) << x << " " << y;
        }
    }
}

TEST(Triangles, PerspectiveAgainstReference) {
    const Gpu gpu;
    EXPECT_GT(compareWithReference(gpu, {{-0.9F, 0.8F, 0.2F, 1, {0, 0, 1, 0}},
                                         {-1.5F, -1.7F, 0.5F, 2, {1, 0, 0, 0}},
                                         {3, -0.3F, 1, 3.5F, {0, 1, 0, 1}}}),
              300);
}

// The part behind the eye or outside near and far planes goes; what is left keeps the whole triangle's values.
TEST(Triangles, ClippingAgainstReference) {
    const Gpu gpu;
    const Vertex a{-0.7F, 0.5F, 0.3F, 1, {1, 0, 0, 0}}, b{0.6F, 0.7F, 0.4F, 1.2F, {0, 1, 0, 0}};
    EXPECT_GT(compareWithReference(gpu, {a, b, {0.2F, -0.5F, -0.4F, -0.6F, {0, 0, 1, 1}}}), 100);  // behind the eye
    EXPECT_GT(compareWithReference(gpu, {a, b, {0.1F, -0.9F, -0.8F, 1, {0, 0, 1, 1}}}), 100);      // near plane
    EXPECT_GT(compareWithReference(gpu, {a, b, {0.1F, -0.9F, 1.9F, 1, {0, 0, 1, 1}}}), 100);       // far plane
    EXPECT_GT(compareWithReference(gpu, {{-9e6F, 7e6F, 0.5F, 1, {1, 0, 0, 0}},
                                         {8e6F, 9e6F, 0.5F, 1, {0, 1, 0, 0}},
                                         {1e6F, -9e6F, 0.5F, 1, {0, 0, 1, 1}}}),
              2000);  // far larger than the band around the target
    EXPECT_EQ(compareWithReference(gpu, {{-1, -1, 0.5F, -1, {}}, {1, -1, 0.5F, -1, {}}, {0, 1, 0.5F, -2, {}}}), 0);
}

// Positions that aren't numbers, or a triangle without area, draw nothing and do no harm.
TEST(Triangles, DegenerateOnesAreDropped) {
    const Gpu gpu;
    const auto target = gpu.texture(8, 8);
    const float infinity = std::numeric_limits<float>::infinity(), nan = std::nanf("");
    gpu.draw(target,
             {{-1, 1, 0, 1, {1, 1, 1, 1}},
              {1, -1, 0, 1, {1, 1, 1, 1}},
              {0, 0, 0, 1, {1, 1, 1, 1}},
              {infinity, 0, 0, 1, {}},
              {0, nan, 0, 1, {}},
              {0, 0, 0, 0, {1, 1, 1, 1}}},
             {0, 1, 2, 0, 1, 3, 0, 1, 4, 5, 5, 5, 0, 0, 1}, MTLPrimitiveType::triangle);
    for (const Color& color : colors(*target)) EXPECT_EQ(color, untouched);
}
