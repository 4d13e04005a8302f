#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <tests/support/Picture.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

using test::Picture;
using test::PictureTexture;

constexpr auto bgra = MTLPixelFormat::bgra8Unorm;
constexpr ImageRotation rotations[] = {ImageRotation::degrees0, ImageRotation::degrees90, ImageRotation::degrees180,
                                       ImageRotation::degrees270};

struct Settings {
    ContentMode mode = ContentMode::scaleToFill;
    ImageRotation rotation = ImageRotation::degrees0;
    bool flip = false;
};

class PixelsTest : public testing::Test {
protected:
    Picture present(const Picture& input, Int width, Int height, const Settings& settings) {
        const auto output = PictureTexture::create(device, Picture::noise(width, height, 99));
        const auto effect = PresentTextureEffect::create(device, PictureTexture::create(device, input), output, bgra,
                                                         settings.mode, settings.rotation, settings.flip);
        effect->setShouldWaitForCompletion(true);
        EXPECT_TRUE(effect->apply(nullptr));
        return output->picture();
    }
    Picture blit(const Picture& input, Picture output, PassType passType) {
        const auto texture = PictureTexture::create(device, output);
        const auto effect = BlitEffect::create(device, PictureTexture::create(device, input), texture, passType, bgra);
        effect->setShouldWaitForCompletion(true);
        EXPECT_TRUE(effect->apply(nullptr));
        return texture->picture();
    }

    std::shared_ptr<Device> device = DeviceManager::shared().defaultDevice();
};

/// The linear mixture of the four nearest texels at texture coordinates (u, v), clamped at the edges.
double sample(const Picture& picture, double u, double v, int component) {
    const double x = u * static_cast<double>(picture.width) - 0.5, y = v * static_cast<double>(picture.height) - 0.5;
    const Int left = static_cast<Int>(std::floor(x)), top = static_cast<Int>(std::floor(y));
    const auto texel = [&](Int i, Int j) {
        return static_cast<double>(
            picture.at(std::clamp<Int>(i, 0, picture.width - 1), std::clamp<Int>(j, 0, picture.height - 1), component));
    };
    const double right = x - static_cast<double>(left), below = y - static_cast<double>(top);
    return (1 - below) * ((1 - right) * texel(left, top) + right * texel(left + 1, top)) +
           below * ((1 - right) * texel(left, top + 1) + right * texel(left + 1, top + 1));
}

/// What should be seen at a position (x, y), each -1 to 1, y upward: the picture's texture coordinates, or nothing
/// outside of it; absent too close to the edge to tell.
struct Seen {
    bool inside;
    double u, v;
};
std::optional<Seen> look(double x, double y, double scaleX, double scaleY, const Settings& settings) {
    if (settings.flip) x = -x;
    for (Int turns = rawValue(settings.rotation) / 90; turns > 0; --turns) x = std::exchange(y, x) * -1;
    x /= scaleX;
    y /= scaleY;
    const double edge = std::max(std::abs(x), std::abs(y)) - 1;
    if (std::abs(edge) < 1e-5) return std::nullopt;
    return Seen{edge < 0, (x + 1) / 2, (1 - y) / 2};
}

void expectPresented(const Picture& input, const Picture& output, const Settings& settings) {
    double scaleX = 1, scaleY = 1;
    const double ratio = static_cast<double>(input.width) * static_cast<double>(output.height) /
                         (static_cast<double>(input.height) * static_cast<double>(output.width));
    if (settings.mode == ContentMode::scaleAspectFit) (ratio < 1 ? scaleX : scaleY) = ratio < 1 ? ratio : 1 / ratio;
    if (settings.mode == ContentMode::scaleAspectFill) (ratio < 1 ? scaleY : scaleX) = ratio < 1 ? 1 / ratio : ratio;
    for (Int y = 0; y < output.height; ++y) {
        for (Int x = 0; x < output.width; ++x) {
            const auto seen = look((2 * static_cast<double>(x) + 1) / static_cast<double>(output.width) - 1,
                                   1 - (2 * static_cast<double>(y) + 1) / static_cast<double>(output.height), scaleX,
                                   scaleY, settings);
            if (!seen) continue;
            for (int component = 0; component < 4; ++component) {
                const double expected = seen->inside     ? sample(input, seen->u, seen->v, component)
                                        : component == 3 ? 255
                                                         : 0;
                ASSERT_NEAR(output.at(x, y, component), std::round(expected), seen->inside ? 1 : 0)
                    << input.width << "x" << input.height << " in " << output.width << "x" << output.height << ", mode "
                    << static_cast<int>(settings.mode) << ", " << rawValue(settings.rotation) << " degrees, flip "
                    << settings.flip << ": " << x << ", " << y;
            }
        }
    }
}

TEST_F(PixelsTest, PresentingAgreesWithDoublePrecision) {
    for (const auto& [inputWidth, inputHeight] : {std::pair<Int, Int>{1, 1}, {2, 3}, {61, 37}, {64, 128}}) {
        const Picture input = Picture::noise(inputWidth, inputHeight, 7);
        for (const auto& [width, height] : {std::pair<Int, Int>{1, 2}, {33, 50}, {127, 64}}) {
            for (const auto mode :
                 {ContentMode::scaleToFill, ContentMode::scaleAspectFit, ContentMode::scaleAspectFill}) {
                for (const auto rotation : rotations) {
                    for (const bool flip : {false, true}) {
                        const Settings settings{mode, rotation, flip};
                        expectPresented(input, present(input, width, height, settings), settings);
                        if (HasFatalFailure()) return;
                    }
                }
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
        for (Int y = 0; y < height; ++y) {
            for (Int x = 0; x < width; ++x) {
                const Picture& source = x < input.width && y < input.height ? input : before;
                for (int component = 0; component < 4; ++component) {
                    ASSERT_EQ(after.at(x, y, component), source.at(x, y, component)) << x << ", " << y;
                }
            }
        }
    }
}

TEST_F(PixelsTest, TurnsAndMirrorsOfTheSameSizeMoveBytesUnchanged) {
    for (const Int side : {1, 2, 63, 127}) {
        const Picture input = Picture::noise(side, side, 5);
        EXPECT_EQ(present(input, side, side, {}), input) << side;
        Picture turned = input;
        for (int i = 0; i < 4; ++i) turned = present(turned, side, side, {.rotation = ImageRotation::degrees90});
        EXPECT_EQ(turned, input) << "four quarter turns, side " << side;
        const Picture back = present(present(input, side, side, {.rotation = ImageRotation::degrees90}), side, side,
                                     {.rotation = ImageRotation::degrees270});
        EXPECT_EQ(back, input) << "there and back, side " << side;
    }
    const Picture input = Picture::noise(61, 38, 6);
    for (const Settings& twice : {Settings{.flip = true}, Settings{.rotation = ImageRotation::degrees180}}) {
        const Picture once = present(input, 61, 38, twice);
        EXPECT_NE(once, input);
        EXPECT_EQ(present(once, 61, 38, twice), input);
    }
}

TEST_F(PixelsTest, AQuarterTurnIsClockwise) {
    Picture input(3, 3);
    for (int component = 0; component < 4; ++component) input.bytes[static_cast<std::size_t>(20 + component)] = 255;
    const Picture output = present(input, 3, 3, {.rotation = ImageRotation::degrees90});
    EXPECT_EQ(output.at(1, 2, 0), 255) << "what pointed right points down";
}

TEST_F(PixelsTest, AnEffectSeesTheWorkOfOnesBeforeItWithoutWaiting) {
    const Picture input = Picture::noise(200, 100, 8);
    auto source = PictureTexture::create(device, input);
    std::vector<std::shared_ptr<BlitEffect>> effects;
    for (int i = 0; i < 8; ++i) {
        const auto target = PictureTexture::create(device, Picture(200, 100));
        effects.push_back(BlitEffect::create(device, source, target, PassType::renderPass, bgra));
        source = target;
    }
    effects.back()->setShouldWaitForCompletion(true);
    for (const auto& effect : effects) EXPECT_TRUE(effect->apply(nullptr));
    EXPECT_EQ(source->picture(), input);
}

}  // namespace
}  // namespace ondrix
