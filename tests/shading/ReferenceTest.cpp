// The plain level against independent double-precision arithmetic; the other levels are held to it elsewhere, and the
// conversion from YCbCr with the converter.
#include <algorithm>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "Modules.h"

using namespace modules;
using shading::SamplerView;

namespace {

const SamplerView linearClamp{1, 1, 0, 0, 0};

int level(double value) {
    return static_cast<int>(std::floor(std::clamp(value, 0.0, 255.0) + 0.5));
}

/// Exact bilinear value of channel `c` with clamped edges, 0...255.
double bilinear(Image& image, double u, double v, int c) {
    const double x = u * image.width - 0.5, y = v * image.height - 0.5;
    const double left = std::floor(x), top = std::floor(y);
    const auto texel = [&](double tx, double ty) {
        return static_cast<double>(image.pixel(static_cast<int>(std::clamp(tx, 0.0, image.width - 1.0)),
                                               static_cast<int>(std::clamp(ty, 0.0, image.height - 1.0)))[c]);
    };
    const auto row = [&](double ty) { return std::lerp(texel(left, ty), texel(left + 1, ty), x - left); };
    return std::lerp(row(top), row(top + 1), y - top);
}

}  // namespace

TEST(Reference, LinearSamplingIsWithinOneLevel) {
    const shading::ModuleTable& plain = open(OWN_LIBRARY, "plain");
    const int sizes[][4] = {{97, 31, 40, 17}, {40, 17, 97, 31}, {64, 9, 128, 18}, {251, 3, 16, 127}};
    for (const auto& [w, h, sw, sh] : sizes) {
        for (double skew : {0.0, 0.11}) {
            Image source(sw, sh, Format::bgra8, 7), target(w, h, Format::bgra8, 0);
            Mapping m = fill(w, h);
            m.u.dy = skew / h;
            m.v.dx = -skew / w;
            draw(plain, "Ondrix::Blit::FS_Main", {m, {source.view()}, {linearClamp}}, target);
            for (int i = 0; i < w * h * 4; i++) {
                const int x = i / 4 % w, y = i / 4 / w, c = i % 4;
                const double u = m.u.base + x * m.u.dx + y * m.u.dy, v = m.v.base + x * m.v.dx + y * m.v.dy;
                ASSERT_NEAR(level(bilinear(source, u, v, c)), target.pixel(x, y)[c], 1) << x << "," << y;
            }
        }
    }
}

TEST(Reference, SameSizeIsAnExactCopyAtAnySize) {
    const shading::ModuleTable& plain = open(OWN_LIBRARY, "plain");
    for (int w : {1, 2, 127, 251, 1920, 5003, 16384}) {
        Image source(w, 2, Format::bgra8, 7), target(w, 2, Format::bgra8, 0);
        draw(plain, "Ondrix::Blit::FS_Main", {fill(w, 2), {source.view()}, {linearClamp}}, target);
        EXPECT_EQ(source.bytes(), target.bytes()) << w;
    }
}

TEST(Reference, EncodingsRoundToNearestAndComeBack) {
    using namespace shading;
    for (int i = 0; i < 256; i++) {
        const auto byte = static_cast<std::uint8_t>(i);
        for (Format format : {Format::r8, Format::r8_srgb}) {
            float colour[4];
            std::uint8_t back = 0;
            decodePixel(format, &byte, colour);
            encodePixel(format, colour, &back);
            EXPECT_EQ(back, byte);
        }
    }
    for (unsigned i = 0; i < 65536; i++) {
        const auto half = static_cast<std::uint16_t>(i);
        const float value = decodeHalf(half);
        if (std::isnan(value)) continue;
        ASSERT_EQ(encodeHalf(value), half);
        const float next = decodeHalf(static_cast<std::uint16_t>(half + 1));
        if ((half & 0x7c00) == 0x7c00 || !std::isfinite(next)) continue;
        ASSERT_EQ(encodeHalf((value + next) / 2), (half & 1) != 0 ? half + 1 : half) << "ties go to even";
    }
    const float infinity = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    for (const auto& [value, byte] : {std::pair{nan, 0}, {-infinity, 0}, {infinity, 255}, {1e30f, 255}, {0.5f, 128}}) {
        EXPECT_EQ(encodeUnorm8(value), byte) << value;
    }
    EXPECT_EQ(encodeSRGB8(nan), 0);
    EXPECT_EQ(encodeSRGB8(infinity), 255);
    EXPECT_EQ(encodeHalf(65520.0f), 0x7c00);
    EXPECT_EQ(encodeHalf(65519.0f), 0x7bff);
}

// What no number can be must still come out the same from packs: negative, huge, infinite and NaN colours.
TEST(Reference, UnusualColoursAreStoredLikeSinglePixels) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    const float values[] = {nan, -nan, infinity, -infinity, -1, 1e30f, -1e30f, 0.49999f, 1.00001f, 0.00196f};
    for (const std::string& name : builtLevels()) {
        for (Format format : {Format::bgra8, Format::rgba8_srgb, Format::r8}) {
            Image source(19, 1, Format::rgba32f, 1), target(19, 1, format, 0);
            for (int i = 0; i < 19 * 4; i++) {
                std::memcpy(source.pixel(i / 4, 0) + i % 4 * 4, &values[(i / 4 + i % 4) % 10], 4);
            }
            dispatch(open(OWN_LIBRARY, name), "Ondrix::Blit::CS_Main", {source.view(), target.view()}, 19, 1, nullptr);
            for (int x = 0; x < 19; x++) {
                float colour[4];
                std::uint8_t expected[4];
                shading::decodePixel(Format::rgba32f, source.pixel(x, 0), colour);
                shading::encodePixel(format, colour, expected);
                for (int i = 0; i < shading::bytesPerPixel(format); i++)
                    ASSERT_EQ(target.pixel(x, 0)[i], expected[i]) << name;
            }
        }
    }
}
