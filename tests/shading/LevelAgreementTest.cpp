// Every SIMD level gives the same bits as the plain one, whatever the sizes, strides, formats and paths, and touches
// nothing outside the images.

#include <algorithm>
#include <array>
#include <limits>
#include <tuple>

#include <gtest/gtest.h>
#include <tests/support/SimdLevels.h>

#include <ondrix/platform/metal/MTLSampler.h>

#include "Modules.h"

using namespace modules;
using ondrix::MTLSamplerAddressMode;
using ondrix::MTLSamplerBorderColor;
using ondrix::test::builtLevels;
using ondrix::test::GuardedEnd;
using ondrix::test::runsHere;
using ondrix::test::testName;
using shading::SamplerView;

namespace {

constexpr int sizes[] = {1, 2, 3, 7, 15, 16, 17, 33, 64, 127};

constexpr Format formats[] = {Format::bgra8, Format::rgba8,   Format::bgra8_srgb, Format::r8,      Format::rg8_srgb,
                              Format::r16f,  Format::rgba16f, Format::rg32f,      Format::rgba32f, Format::r32f,
                              Format::rg8,   Format::r16,     Format::rg16,       Format::rgba16};

SamplerView sampler(int filter, MTLSamplerAddressMode mode, MTLSamplerBorderColor border = {}) {
    const auto f = static_cast<std::uint8_t>(filter), m = static_cast<std::uint8_t>(mode);
    return {f, f, m, m, static_cast<std::uint8_t>(border)};
}
const SamplerView linearClamp = sampler(1, MTLSamplerAddressMode::clampToEdge);

/// A level, with images that are guarded at one end.
class EveryLevel : public testing::TestWithParam<std::tuple<std::string, GuardedEnd>> {
protected:
    void SetUp() override {
        std::tie(level, Image::guardedEnd) = GetParam();
        if (!runsHere(level)) GTEST_SKIP() << "this processor lacks " << level;
    }
    std::string level;
};

/// A level beside the plain one.
class LevelAgreement : public EveryLevel {
protected:
    /// Lets `work` do the same with the plain module and the other, on images with the same content.
    template <class Work>
    void expectSame(const char* library, int width, int height, Format format, Work&& work) {
        ASSERT_NE(level, "plain") << "agrees with itself whatever it does";
        Image expected(width, height, format, 9), actual(width, height, format, 9);
        work(open(library, "plain"), expected);
        work(open(library, level), actual);
        ASSERT_EQ(expected.bytes(), actual.bytes()) << width << "x" << height << " " << static_cast<int>(format);
        ASSERT_TRUE(actual.guardsIntact());
    }
    void expectSameDraw(const char* library, const char* name, const Draw& d, int width, int height, Format format) {
        SCOPED_TRACE(testing::Message() << name << " from " << d.textures[0].width << "x" << d.textures[0].height
                                        << " format " << d.textures[0].format << " to " << width << "x" << height);
        expectSame(library, width, height, format, [&](const auto& module, Image& to) { draw(module, name, d, to); });
    }
    /// The target is bound behind the textures.
    void expectSameDispatch(const char* library, const char* name, std::vector<shading::TextureView> textures,
                            int width, int height, Format format, const void* constants = nullptr,
                            bool streaming = false) {
        textures.push_back({});
        expectSame(library, width, height, format, [&](const auto& module, Image& to) {
            textures.back() = to.view();
            dispatch(module, name, textures, width, height, constants, streaming);
        });
    }
};

constexpr const char *present = "Ondrix::PresentTexture::FS_Main", *copy = "Ondrix::Blit::CS_Main",
                     *convert = "Ondrix::YUVtoRGB::CS_Main";

}  // namespace

// Upright scaling takes the row paths: blended rows (compact and not), 2:1 boxes, copies, and partly clamped columns.
// Rows are stored past the caches, too, whether they lie well for that or not.
TEST_P(LevelAgreement, UprightScaling) {
    for (int w : sizes) {
        for (int h : {1, 5, 17}) {
            for (const auto& [sw, sh] :
                 {std::pair{w, h}, {2 * w, 2 * h}, {3 * w + 1, h}, {w / 2 + 1, h / 2 + 1}, {7 * w, 3}}) {
                for (Format format : {Format::bgra8, Format::rgba8}) {
                    Image source(sw, sh, format, static_cast<unsigned>(w + h));
                    Draw d{fill(w, h), {source.view()}, {linearClamp}};
                    for (const auto& [to, streaming] : {std::pair{Format::bgra8, true},
                                                        {Format::rgba8, true},
                                                        {Format::r8, true},
                                                        {Format::bgra8, false}}) {
                        d.streaming = streaming;
                        for (int first : {0, w / 3}) {
                            d.x0 = first;
                            expectSameDraw(OWN_LIBRARY, present, d, w, h, to);
                        }
                    }
                    d.mapping.u = {1.2, -1.7 / w, 0};  // mirrored, beyond both edges
                    d.mapping.v = {-0.3, 0, 1.9 / h};
                    expectSameDraw(OWN_LIBRARY, present, d, w, h, Format::bgra8);
                }
            }
        }
    }
}

// Rows that run along the texture's columns or backwards, exactly or with the small error of a rounded matrix: copies,
// boxes and blends from cached lines, across the ends of blocks of lines.
TEST_P(LevelAgreement, TurnedAndMirroredRows) {
    for (const auto& [w, h] : {std::pair{1, 1}, {16, 33}, {37, 18}, {130, 20}}) {
        for (const auto& [along, across] :
             {std::pair{w, h}, {2 * w, 2 * h}, {w / 2 + 1, h}, {w, 3 * h + 1}, {w + 2, h + 2}}) {
            for (const double skew : {0.0, 1e-9, -4e-8, 1e-3}) {
                for (const auto& [turned, direction] :
                     {std::pair{true, 1.0}, {true, -1.0}, {false, 1.0}, {false, -1.0}}) {
                    const shading::Plane alongPlane{0.5 + direction * (0.5 / w - 0.5), direction / w, skew};
                    const shading::Plane acrossPlane{0.5 / h, skew, 1.0 / h};
                    Image source(turned ? across : along, turned ? along : across, Format::bgra8, 8);
                    Draw d{fill(w, h), {source.view()}, {linearClamp}};
                    d.mapping.u = turned ? acrossPlane : alongPlane;
                    d.mapping.v = turned ? alongPlane : acrossPlane;
                    for (int first : {0, w / 3}) {
                        d.x0 = first;
                        expectSameDraw(OWN_LIBRARY, present, d, w, h, Format::bgra8);
                    }
                }
            }
        }
    }
}

// Texels picked from windows of few rows, or fetched one by one, in the middle and at all edges.
TEST_P(LevelAgreement, TurnsByAnyAngle) {
    for (const auto& [w, h] : {std::pair{31, 9}, {33, 9}, {75, 40}}) {
        Image source(w, h, Format::bgra8, 8);
        for (const double angle : {1e-5, 0.02, -0.12, 0.5, 0.8, -1.5, 3.0}) {
            for (const double scale : {0.3, 1.0, 2.2}) {
                const double c = scale * std::cos(angle), s = scale * std::sin(angle);
                Draw d{fill(w + 5, h + 3), {source.view()}, {linearClamp}};
                d.mapping = {{0.5 - (c * w - s * h) / 2 / w, c / w, -s / w},
                             {0.5 - (s * w + c * h) / 2 / h, s / h, c / h}};
                expectSameDraw(OWN_LIBRARY, present, d, w + 5, h + 3, Format::bgra8);
            }
        }
    }
}

// Lines of one texel or pixel, long ones, and nearly all of the one in nothing of the other.
TEST_P(LevelAgreement, ImagesOfEveryShape) {
    constexpr std::pair<int, int> shapes[] = {{1, 1},   {1, 5},  {5, 1},  {2, 3},     {5, 3},
                                              {16, 16}, {17, 5}, {64, 2}, {16384, 1}, {1, 16384}};
    for (const auto& [w, h] : shapes) {
        Image luma(w, h, Format::r8, 1), chroma((w + 1) / 2, (h + 1) / 2, Format::rg8, 2);
        const auto constants = conversions().front();
        expectSameDispatch(OWN_LIBRARY, convert, {luma.view(), chroma.view()}, w, h, Format::bgra8, &constants);
        for (const auto& [sourceWidth, sourceHeight] : shapes) {
            Image source(sourceWidth, sourceHeight, Format::bgra8, 8);
            expectSameDispatch(OWN_LIBRARY, copy, {source.view()}, w, h, Format::bgra8);
            for (const double part : {1.0, 0.4, 2.5}) {  // of the source that the target shows
                const auto plane = [part, w = w, h = h](bool alongX, double direction) {
                    const double step = direction * part / (alongX ? w : h);
                    return shading::Plane{0.5 + 0.5 * step - 0.5 * direction * part, alongX ? step : 0,
                                          alongX ? 0 : step};
                };
                for (int turn = 0; turn < 8; turn++) {
                    const double across = turn % 2 == 0 ? 1 : -1, down = turn / 2 % 2 == 0 ? 1 : -1;
                    Draw d{{plane(turn < 4, across), plane(turn >= 4, down)}, {source.view()}, {linearClamp}};
                    d.streaming = turn % 3 == 0;
                    expectSameDraw(OWN_LIBRARY, present, d, w, h, Format::bgra8);
                }
            }
        }
    }
}

TEST_P(LevelAgreement, EveryPairOfFormatsIsCopied) {
    for (Format from : formats) {
        for (Format to : formats) {
            for (int w : {1, 16, 31, 160}) {
                Image source(w, 5, from, 4);
                expectSameDraw(OWN_LIBRARY, present, {fill(w, 5), {source.view()}, {linearClamp}}, w, 5, to);
                expectSameDispatch(OWN_LIBRARY, copy, {source.view()}, w + 3, 4, to);
                expectSameDispatch(OWN_LIBRARY, copy, {source.view()}, w, 5, to, nullptr, true);
            }
        }
    }
}

using Colour = std::array<float, 4>;
static Colour colourOf(Image& image, std::int64_t x, std::int64_t y) {
    Colour colour{};
    if (x >= 0 && x < image.width && y >= 0 && y < image.height) {
        shading::decodePixel(image.format, image.pixel(static_cast<int>(x), static_cast<int>(y)), colour.data());
    }
    return colour;
}

// No position is too far away: outside is zero, nothing outside is touched, and the sums of positions don't overflow
// into the picture.
TEST_P(EveryLevel, ZeroOutsideAndNothingWrittenThere) {
    constexpr int least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
    for (const auto& [w, h] : {std::pair{7, 5}, {16, 5}, {37, 5}, {90, 40}}) {
        for (Format format : {Format::bgra8, Format::r8, Format::rg8, Format::r32f, Format::rgba16f}) {
            Image source(w, h, format, 5), half((w + 1) / 2, (h + 1) / 2, format, 6);
            for (int x : {0, 1, -1, 16, -17, 15 - w, w, least, most, most - 15, least + 16, 1 << 30}) {
                for (int y : {0, 2, -16, 17, least, most}) {
                    const int by[] = {x, y};
                    for (const std::string name : {"ShiftedRun", "ShiftedPixels", "MovedPosition", "SmallTexture"}) {
                        const bool isSmall = name == "SmallTexture";
                        Image& from = isSmall ? half : source;
                        Image to(w, h, format, 0), expected(w, h, format, 0);
                        dispatch(open(TEST_LIBRARY, level), name, {from.view(), to.view()}, w, h, by);
                        for (int i = 0; i < w * h; i++) {
                            const std::int64_t toX = i % w, toY = i / w;
                            Colour colour = colourOf(from, toX + x, toY + y);
                            const Colour here = colourOf(from, toX, toY);
                            for (std::size_t c = 0; c < 4 && isSmall; c++) colour[c] += here[c];
                            shading::encodePixel(format, colour.data(), expected.pixel(i % w, i / w));
                        }
                        ASSERT_EQ(to.bytes(), expected.bytes()) << name << " by " << x << ", " << y << " in " << w;
                    }
                    Image to(w, h, format, 0);
                    dispatch(open(TEST_LIBRARY, level), "WrittenElsewhere", {source.view(), to.view()}, w, h, by);
                    ASSERT_TRUE(to.guardsIntact());
                }
            }
        }
    }
}

// Entries that are mixed up or read beside the table, at both ends of each axis, in each format, and in textures with
// no room for all squares.
TEST_P(LevelAgreement, Tables) {
    Image places(37, 5, Format::rgba32f, 1);
    const float strange[] = {std::nanf(""), HUGE_VALF, -HUGE_VALF, -0.0f, 1, std::nanf(""), 1, 1};
    std::memcpy(places.pixel(3, 0), strange, sizeof strange);
    for (Format format : formats) {
        for (const auto& [w, h, size] : {std::tuple{1, 1, 1}, {15, 15, 5}, {100, 9, 9}, {35, 5, 7}, {2, 9, 3}}) {
            Image table(w, h, format, 2);
            for (const char* name : {"Curve", "Cube"}) {
                expectSameDispatch(TEST_LIBRARY, name, {places.view(), table.view()}, 37, 5, Format::rgba32f, &size);
            }
        }
    }
}

// Stretches and single packs, their ends, all ways of computing, and stores past the caches.
TEST_P(LevelAgreement, YCbCrConversion) {
    for (const auto& constants : conversions()) {
        for (int w : {1, 2, 15, 17, 33, 63, 64, 67, 127, 192, 208}) {
            for (int h : {1, 2, 5}) {
                for (const auto& [y8, c8] : {std::pair{Format::r8, Format::rg8}, {Format::bgra8, Format::rgba32f}}) {
                    Image luma(w, h, y8, 1), chroma((w + 1) / 2, (h + 1) / 2, c8, 2);
                    for (Format to : {Format::bgra8, Format::rgba8, Format::r32f}) {
                        expectSameDispatch(OWN_LIBRARY, convert, {luma.view(), chroma.view()}, w, h, to, &constants,
                                           h == 2);
                    }
                }
            }
        }
    }
}

// What no number can be must still come out the same from packs: negative, huge, infinite and NaN colours.
TEST_P(EveryLevel, UnusualColoursAreStoredLikeSinglePixels) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    const float values[] = {nan, -nan, infinity, -infinity, -1, 1e30f, -1e30f, 0.49999f, 1.00001f, 0.00196f};
    for (Format format :
         {Format::bgra8, Format::rgba8_srgb, Format::r8, Format::rg8, Format::r16, Format::rg16, Format::rgba16}) {
        Image source(19, 1, Format::rgba32f, 1), target(19, 1, format, 0), expected(19, 1, format, 0);
        for (int i = 0; i < 19 * 4; i++) {
            std::memcpy(source.pixel(i / 4, 0) + i % 4 * 4, &values[(i / 4 + i % 4) % 10], 4);
        }
        dispatch(open(OWN_LIBRARY, level), copy, {source.view(), target.view()}, 19, 1, nullptr);
        for (int x = 0; x < 19; x++) {
            shading::encodePixel(format, colourOf(source, x, 0).data(), expected.pixel(x, 0));
        }
        ASSERT_EQ(target.bytes(), expected.bytes()) << level;
    }
}

// The plain encodings, which all levels are held to.
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

namespace {

std::vector<std::string> otherLevels() {
    std::vector<std::string> levels = builtLevels();
    std::erase(levels, "plain");
    return levels;
}

constexpr auto nameOf = [](const auto& test) {
    return testName(std::get<0>(test.param)) +
           (std::get<1>(test.param) == GuardedEnd::first ? "_guardedStart" : "_guardedEnd");
};
const auto guardedEnds = testing::Values(GuardedEnd::first, GuardedEnd::last);

}  // namespace

INSTANTIATE_TEST_SUITE_P(Levels, EveryLevel, testing::Combine(testing::ValuesIn(builtLevels()), guardedEnds), nameOf);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(LevelAgreement);  // in builds of the level plain alone
INSTANTIATE_TEST_SUITE_P(Levels, LevelAgreement, testing::Combine(testing::ValuesIn(otherLevels()), guardedEnds),
                         nameOf);
