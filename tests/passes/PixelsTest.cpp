#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include <gtest/gtest.h>
#include <tests/support/Picture.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

using test::Picture;
using test::pictureOf;
using test::textureOf;

constexpr auto bgra = MTLPixelFormat::bgra8Unorm;

struct Settings {
    ContentMode mode = ContentMode::scaleToFill;
    ImageRotation rotation = ImageRotation::degrees0;
    bool flip = false;
};

class PixelsTest : public testing::Test {
protected:
    Picture present(const Picture& input, Int width, Int height, const Settings& settings) {
        const auto output = textureOf(device, Picture::noise(width, height, 99));
        return apply(*PresentTextureEffect::create(device, textureOf(device, input), output, bgra, settings.mode,
                                                   settings.rotation, settings.flip),
                     *output);
    }
    /// By an effect that was made for another input.
    Picture blit(const Picture& input, const Picture& before, PassType passType) {
        const auto output = textureOf(device, before);
        const auto effect = BlitEffect::create(device, textureOf(device, Picture(2, 2)), output, passType, bgra);
        effect->setInputTexture(textureOf(device, input));
        return apply(*effect, *output);
    }
    static Picture apply(Effect& effect, const Texture& output) {
        EXPECT_TRUE(effect.applyAndWait(nullptr));
        return pictureOf(output);
    }

    std::shared_ptr<Device> device = DeviceManager::shared().defaultDevice();
};

/// The linear mixture of the four nearest texels at texture coordinates (u, v), clamped at the edges.
double sample(const Picture& picture, double u, double v, int component) {
    const double x = u * double(picture.width) - 0.5, y = v * double(picture.height) - 0.5;
    const double left = std::floor(x), top = std::floor(y);
    const auto texel = [&](double i, double j) {
        return picture.at(Int(std::clamp(i, 0.0, double(picture.width - 1))),
                          Int(std::clamp(j, 0.0, double(picture.height - 1))), component);
    };
    return std::lerp(std::lerp(texel(left, top), texel(left + 1, top), x - left),
                     std::lerp(texel(left, top + 1), texel(left + 1, top + 1), x - left), y - top);
}

/// Takes each pixel of the output back to its place in the input; positions are from -1 to 1, y upward.
void expectPresented(const Picture& input, const Picture& output, const Settings& settings) {
    const double ratio = double(input.width * output.height) / double(input.height * output.width);
    double scaleX = 1, scaleY = 1;
    if (settings.mode == ContentMode::scaleAspectFit) (ratio < 1 ? scaleX : scaleY) = ratio < 1 ? ratio : 1 / ratio;
    if (settings.mode == ContentMode::scaleAspectFill) (ratio < 1 ? scaleY : scaleX) = ratio < 1 ? 1 / ratio : ratio;
    for (Int at = 0; at < output.width * output.height; ++at) {
        double x = double(2 * (at % output.width) + 1) / double(output.width) - 1;
        double y = 1 - double(2 * (at / output.width) + 1) / double(output.height);
        if (settings.flip) x = -x;
        for (Int turns = rawValue(settings.rotation) / 90; turns > 0; --turns) x = std::exchange(y, x) * -1;
        x /= scaleX;
        y /= scaleY;
        const double edge = std::max(std::abs(x), std::abs(y)) - 1;
        if (std::abs(edge) < 1e-5) continue;  // too close to tell
        for (int component = 0; component < 4; ++component) {
            const double outside = component == 3 ? 255 : 0;
            const double expected = edge < 0 ? sample(input, (x + 1) / 2, (1 - y) / 2, component) : outside;
            ASSERT_NEAR(output.at(at % output.width, at / output.width, component), std::round(expected), edge < 0)
                << input.width << "x" << input.height << " in " << output.width << "x" << output.height << ", mode "
                << int(settings.mode) << ", " << rawValue(settings.rotation) << " degrees, flip " << settings.flip;
        }
    }
}

TEST_F(PixelsTest, PresentingAgreesWithDoublePrecision) {
    for (const auto& [inputWidth, inputHeight] : {std::pair<Int, Int>{1, 1}, {2, 3}, {61, 37}, {64, 128}}) {
        const Picture input = Picture::noise(inputWidth, inputHeight, 7);
        for (const auto& [width, height] : {std::pair<Int, Int>{1, 2}, {33, 50}, {127, 64}}) {
            for (int settings = 0; settings < 3 * 4 * 2; ++settings) {
                const Settings each{ContentMode(settings % 3), ImageRotation(settings / 3 % 4), settings / 12 == 1};
                expectPresented(input, present(input, width, height, each), each);
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST_F(PixelsTest, BlittingByRenderPassStretches) {
    const Picture input = Picture::noise(31, 45, 3);
    expectPresented(input, blit(input, Picture(90, 22), PassType::renderPass), {});
    EXPECT_EQ(blit(input, Picture(31, 45), PassType::renderPass), input);
}

TEST_F(PixelsTest, BlittingByComputePassCopiesWhereBothHaveThePosition) {
    const Picture input = Picture::noise(33, 40, 3);
    for (const auto& [width, height] : {std::pair<Int, Int>{33, 40}, {20, 70}, {70, 20}, {1, 1}}) {
        const Picture before = Picture::noise(width, height, 4);
        const Picture after = blit(input, before, PassType::computePass);
        for (Int at = 0; at < width * height; ++at) {
            const Int x = at % width, y = at / width;
            const Picture& source = x < input.width && y < input.height ? input : before;
            for (int component = 0; component < 4; ++component) {
                ASSERT_EQ(after.at(x, y, component), source.at(x, y, component)) << x << ", " << y;
            }
        }
    }
}

TEST_F(PixelsTest, TurnsAndMirrorsOfTheSameSizeMoveBytesUnchanged) {
    constexpr Settings quarter{.rotation = ImageRotation::degrees90}, back{.rotation = ImageRotation::degrees270};
    for (const Int side : {1, 2, 63, 127}) {
        const Picture input = Picture::noise(side, side, 5);
        EXPECT_EQ(present(input, side, side, {}), input) << side;
        EXPECT_EQ(present(present(input, side, side, quarter), side, side, back), input) << side;
    }
    for (const Int width : {251, 1920, 5003, 16384}) {
        const Picture input = Picture::noise(width, 2, 5);
        EXPECT_EQ(present(input, width, 2, {}), input) << width;
    }
    const Picture input = Picture::noise(61, 38, 6);
    for (const Settings& twice : {Settings{.flip = true}, Settings{.rotation = ImageRotation::degrees180}}) {
        EXPECT_EQ(present(present(input, 61, 38, twice), 61, 38, twice), input);
    }
}

}  // namespace
}  // namespace ondrix
