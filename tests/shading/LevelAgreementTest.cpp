// Every SIMD level gives the same bits as the plain one, whatever the sizes, strides, formats and paths, and never
// writes outside the pixels.
#include <gtest/gtest.h>

#include <ondrix/conversion/YUVToRGBConstants.h>
#include <ondrix/platform/metal/MTLSampler.h>

#include "Modules.h"

using namespace modules;
using ondrix::MTLSamplerAddressMode;
using ondrix::MTLSamplerBorderColor;
using shading::SamplerView;

namespace {

constexpr Format formats[] = {Format::bgra8, Format::rgba8,   Format::bgra8_srgb, Format::r8,      Format::rg8_srgb,
                              Format::r16f,  Format::rgba16f, Format::rg32f,      Format::rgba32f, Format::r32f};
constexpr int sizes[] = {1, 2, 3, 7, 15, 16, 17, 33, 64, 127};

SamplerView sampler(int filter, MTLSamplerAddressMode mode, MTLSamplerBorderColor border = {}) {
    const auto f = static_cast<std::uint8_t>(filter), m = static_cast<std::uint8_t>(mode);
    return {f, f, m, m, static_cast<std::uint8_t>(border)};
}
const SamplerView linearClamp = sampler(1, MTLSamplerAddressMode::clampToEdge);

class LevelAgreement : public testing::TestWithParam<std::string> {
protected:
    const shading::ModuleTable& plain(const char* library) { return *open(library, "plain"); }
    const shading::ModuleTable& level(const char* library) { return *open(library, GetParam()); }

    void expectSameDraw(const char* library, const char* name, const Draw& d, int width, int height, Format format) {
        Image expected(width, height, format, 9), actual(width, height, format, 9);
        draw(plain(library), name, d, expected);
        draw(level(library), name, d, actual);
        ASSERT_EQ(expected.bytes(), actual.bytes())
            << name << " " << width << "x" << height << " from " << d.textures[0].width << "x" << d.textures[0].height
            << " format " << d.textures[0].format << " to " << static_cast<int>(format);
        ASSERT_TRUE(actual.guardsIntact());
    }
};

const char* const present = "Ondrix::PresentTexture::FS_Main";

}  // namespace

// Upright scaling takes the row paths: blended rows (compact and not), 2:1 boxes, copies, and partly clamped columns.
TEST_P(LevelAgreement, UprightScaling) {
    for (int w : sizes) {
        for (int h : {1, 5, 17}) {
            for (const auto& [sw, sh] :
                 {std::pair{w, h}, {2 * w, 2 * h}, {3 * w + 1, h}, {w / 2 + 1, h / 2 + 1}, {7 * w, 3}}) {
                for (Format format : {Format::bgra8, Format::rgba8}) {
                    Image source(sw, sh, format, static_cast<unsigned>(w + h));
                    Draw d{fill(w, h), {source.view()}, {linearClamp}};
                    for (int first : {0, w / 3}) {
                        d.x0 = first;
                        expectSameDraw(OWN_LIBRARY, present, d, w, h, Format::bgra8);
                    }
                    d.mapping.u = {1.2, -1.7 / w, 0};  // mirrored, beyond both edges
                    d.mapping.v = {-0.3, 0, 1.9 / h};
                    expectSameDraw(OWN_LIBRARY, present, d, w, h, Format::bgra8);
                }
            }
        }
    }
}

TEST_P(LevelAgreement, EveryFormatFilterAndAddressMode) {
    for (Format from : formats) {
        Image source(13, 9, from, 3);
        for (int mode = 0; mode <= 5; mode++) {
            for (int filter = 0; filter <= 1; filter++) {
                const auto s =
                    sampler(filter, static_cast<MTLSamplerAddressMode>(mode), MTLSamplerBorderColor::opaqueWhite);
                Draw d{{{-1.3, 0.11, 0.013}, {-0.7, 0.007, 0.23}}, {source.view()}, {s}};
                expectSameDraw(OWN_LIBRARY, present, d, 37, 11, Format::bgra8);
                d.mapping.perspective = true;
                d.mapping.inverseW = {0.4, 0.01, 0.02};
                expectSameDraw(OWN_LIBRARY, present, d, 37, 11, Format::rgba16f);
            }
        }
    }
}

TEST_P(LevelAgreement, EveryPairOfFormatsIsCopied) {
    for (Format from : formats) {
        for (Format to : formats) {
            for (int w : {1, 16, 31}) {
                Image source(w, 5, from, 4);
                expectSameDraw(OWN_LIBRARY, present, {fill(w, 5), {source.view()}, {linearClamp}}, w, 5, to);
                Image expected(w + 3, 4, to, 5), actual(w + 3, 4, to, 5);
                dispatch(plain(OWN_LIBRARY), "Ondrix::Blit::CS_Main", {source.view(), expected.view()}, w + 3, 4,
                         nullptr);
                dispatch(level(OWN_LIBRARY), "Ondrix::Blit::CS_Main", {source.view(), actual.view()}, w + 3, 4,
                         nullptr);
                ASSERT_EQ(expected.bytes(), actual.bytes());
                ASSERT_TRUE(actual.guardsIntact());
            }
        }
    }
}

TEST_P(LevelAgreement, OwnFunctions) {
    const float settings[8] = {1.3f, 0.7f, 2.0f, 0.01f, 0.9f, -0.2f, 0.3f, 1.1f};
    for (int w : sizes) {
        Image a(w, 6, Format::bgra8, 1), b(5, 11, Format::rgba32f, 2);
        const auto repeat = sampler(1, MTLSamplerAddressMode::mirrorRepeat);
        Draw d{
            fill(w, 7), {a.view(), b.view()}, {linearClamp, repeat}, settings, {{0.1, 0.02, -0.03}, {0.4, -0.01, 0.2}}};
        for (const char* name : {"Tinted", "Computed", "Mixed", "Second"}) {
            for (Format to : {Format::bgra8, Format::rgba32f}) expectSameDraw(TEST_LIBRARY, name, d, w, 7, to);
        }
        for (const char* name : {"Neighbours", "Split"}) {
            Image e1(w, 6, Format::bgra8, 3), e2(9, 4, Format::bgra8, 3), a1(w, 6, Format::bgra8, 3),
                a2(9, 4, Format::bgra8, 3);
            dispatch(plain(TEST_LIBRARY), name, {a.view(), e1.view(), e2.view()}, w, 6, nullptr);
            dispatch(level(TEST_LIBRARY), name, {a.view(), a1.view(), a2.view()}, w, 6, nullptr);
            ASSERT_EQ(e1.bytes(), a1.bytes()) << name << " " << w;
            ASSERT_EQ(e2.bytes(), a2.bytes()) << name << " " << w;
            ASSERT_TRUE(a1.guardsIntact() && a2.guardsIntact());
        }
    }
}

TEST_P(LevelAgreement, YCbCrConversion) {
    for (auto range : {ondrix::YUVFormats::NV12FullRange, ondrix::YUVFormats::NV12VideoRange}) {
        for (int w : sizes) {
            for (int h : {1, 2, 5}) {
                for (const auto& [y8, c8] : {std::pair{Format::r8, Format::rg8}, {Format::bgra8, Format::rgba32f}}) {
                    Image luma(w, h, y8, 1), chroma((w + 1) / 2, (h + 1) / 2, c8, 2);
                    Image expected(w, h, Format::bgra8, 3), actual(w, h, Format::bgra8, 3);
                    const auto& k = ondrix::yuvToRGBConstants(range);
                    const char* name = "Ondrix::YUVtoRGB::CS_Main";
                    dispatch(plain(OWN_LIBRARY), name, {luma.view(), chroma.view(), expected.view()}, w, h, &k);
                    dispatch(level(OWN_LIBRARY), name, {luma.view(), chroma.view(), actual.view()}, w, h, &k);
                    ASSERT_EQ(expected.bytes(), actual.bytes()) << w << "x" << h;
                    ASSERT_TRUE(actual.guardsIntact());
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, LevelAgreement, testing::ValuesIn(fasterLevels()), [](const auto& level) {
    std::string name = level.param;
    for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
    return name;
});
