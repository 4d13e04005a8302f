// The plain level against independent double-precision arithmetic; the other levels are held to it elsewhere.
#include <algorithm>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "Modules.h"

using namespace modules;

namespace {

int level(double value) {
    return static_cast<int>(std::floor(std::clamp(value, 0.0, 255.0) + 0.5));
}

}  // namespace

// Every Y, Cb and Cr (less of Cb for other constants than the framework's): no rounding may lose a level anywhere.
TEST(Reference, YCbCrConversionIsWithinOneLevelForEveryInput) {
    const shading::ModuleTable& module = open(OWN_LIBRARY, "plain");
    Image luma(512, 128, Format::r8, 0), chroma(256, 64, Format::rg8, 0), target(512, 128, Format::bgra8, 0);
    for (int i = 0; i < 256 * 256; i++) {  // four blocks of 64 by 1 hold the 256 values of Y once for each Cr
        const int x = i % 512, y = i / 512;
        *luma.pixel(x, y) = static_cast<std::uint8_t>(x / 2 % 64 * 4 + x % 2 + y % 2 * 2);
    }
    const auto all = conversions();
    for (const auto& k : all) {
        for (int cb = 0; cb < 256; cb += &k < &all[2] ? 1 : 51) {
            for (int i = 0; i < 256 * 64; i++) {
                std::uint8_t* pair = chroma.pixel(i % 256, i / 256);
                pair[0] = static_cast<std::uint8_t>(cb);
                pair[1] = static_cast<std::uint8_t>(i / 256 * 4 + i % 256 / 64);
            }
            dispatch(module, "Ondrix::YUVtoRGB::CS_Main", {luma.view(), chroma.view(), target.view()}, 512, 128, &k);
            for (int i = 0; i < 512 * 128; i++) {
                const int x = i % 512, y = i / 512;
                const double blue = chroma.pixel(x / 2, y / 2)[0] / 255.0 - k.chromaOffset.x;
                const double red = chroma.pixel(x / 2, y / 2)[1] / 255.0 - k.chromaOffset.y;
                const auto expected = [&](float ofLuma, float ofBlue, float ofRed) {
                    return level(255 *
                                 (*luma.pixel(x, y) / 255.0 * ofLuma + blue * ofBlue + red * ofRed + k.lumaOffset.x));
                };
                const auto& [l, b, r] = k.colorMatrix.columns;
                const int colours[] = {expected(l.z, b.z, r.z), expected(l.y, b.y, r.y), expected(l.x, b.x, r.x), 255};
                for (int c = 0; c < 4; c++) {
                    if (std::abs(target.pixel(x, y)[c] - colours[c]) > 1)
                        FAIL() << "constants " << &k - &all[0] << ": " << +*luma.pixel(x, y) << " " << cb;
                }
            }
        }
    }
}

// Colours for places before, in and after a table; cubes are those of the effect, and tested with it.
TEST(Reference, CurvesAreStraightBetweenEntries) {
    Image places(37, 5, Format::rgba32f, 1), table(9, 2, Format::rgba32f, 2), found(37, 5, Format::rgba32f, 0);
    dispatch(open(TEST_LIBRARY, "plain"), "Curve", {places.view(), table.view(), found.view()}, 37, 5, nullptr);
    for (int i = 0; i < 37 * 5; i++) {
        const auto number = [](Image& image, int x, int y) { return reinterpret_cast<float*>(image.pixel(x, y)); };
        const double place = std::clamp(9.0 * *number(places, i % 37, i / 37), 0.0, 8.0);
        const int before = static_cast<int>(place), after = std::min(before + 1, 8);
        for (int c = 0; c < 4; c++) {
            const double exact = std::lerp(number(table, before, 0)[c], number(table, after, 0)[c], place - before);
            ASSERT_NEAR(number(found, i % 37, i / 37)[c], exact, 1e-5) << place;
        }
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
