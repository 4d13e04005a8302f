#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <tests/pictures/PictureWriter.h>
#include <tests/support/RecordingDevice.h>
#include <tests/support/TemporaryFolder.h>

namespace ondrix {
namespace {

using test::LoadedPicture;
using test::PNGContent;

/// `sample` of `depth` bits on the scale of 8 bits.
std::uint8_t scaled(unsigned sample, int depth) {
    return static_cast<std::uint8_t>(std::lround(sample * 255.0 / ((1 << depth) - 1)));
}

/// The pixels in blue, green, red, alpha that `content` stands for.
std::vector<std::uint8_t> expectedPixels(const PNGContent& content) {
    std::vector<std::uint8_t> pixels;
    const std::size_t channels = content.channels();
    for (std::size_t start = 0; start < content.samples.size(); start += channels) {
        const std::uint16_t* const sample = &content.samples[start];
        if (content.colorType == PNG_COLOR_TYPE_PALETTE) {
            const png_color color = content.palette[sample[0]];
            const bool hasAlpha = sample[0] < content.paletteAlpha.size();
            const std::uint8_t alpha = hasAlpha ? content.paletteAlpha[sample[0]] : 255;
            pixels.insert(pixels.end(), {color.blue, color.green, color.red, alpha});
            continue;
        }
        const bool isGrey = channels < 3;
        const std::uint16_t red = sample[0], green = sample[isGrey ? 0 : 1], blue = sample[isGrey ? 0 : 2];
        std::uint8_t alpha = 255;
        if ((content.colorType & PNG_COLOR_MASK_ALPHA) != 0) alpha = scaled(sample[channels - 1], content.depth);
        if (const auto& key = content.transparent) {
            const bool matches =
                isGrey ? red == key->gray : red == key->red && green == key->green && blue == key->blue;
            if (matches) alpha = 0;
        }
        pixels.insert(pixels.end(),
                      {scaled(blue, content.depth), scaled(green, content.depth), scaled(red, content.depth), alpha});
    }
    return pixels;
}

/// Colour type, depth, and whether the file has a tRNS chunk.
using Kind = std::tuple<int, int, bool>;

std::vector<Kind> allKinds() {
    std::vector<Kind> kinds;
    for (const bool transparent : {false, true}) {
        for (const int depth : {1, 2, 4, 8, 16}) {
            kinds.emplace_back(PNG_COLOR_TYPE_GRAY, depth, transparent);
            if (depth <= 8) kinds.emplace_back(PNG_COLOR_TYPE_PALETTE, depth, transparent);
            if (depth >= 8) kinds.emplace_back(PNG_COLOR_TYPE_RGB, depth, transparent);
            if (depth < 8 || transparent) continue;
            kinds.emplace_back(PNG_COLOR_TYPE_GRAY_ALPHA, depth, false);
            kinds.emplace_back(PNG_COLOR_TYPE_RGB_ALPHA, depth, false);
        }
    }
    return kinds;
}

class PNG : public testing::TestWithParam<std::tuple<Kind, bool>> {};

TEST_P(PNG, IsDecodedToTheLastPixel) {
    const auto& [kind, interlaced] = GetParam();
    const auto& [colorType, depth, transparent] = kind;
    std::mt19937 random(7);
    for (const auto& [width, height] :
         {std::pair(1u, 1u), std::pair(2u, 5u), std::pair(37u, 23u), std::pair(601u, 130u)}) {
        PNGContent content{width, height, colorType, depth, interlaced, {}, {}, {}, {}};
        const unsigned range = 1u << depth;
        content.samples.resize(std::size_t{width} * height * content.channels());
        for (auto& sample : content.samples) sample = static_cast<std::uint16_t>(random() % range);
        if (colorType == PNG_COLOR_TYPE_PALETTE) {
            const auto byte = [&] { return static_cast<std::uint8_t>(random()); };
            for (unsigned entry = 0; entry < range; ++entry) content.palette.push_back({byte(), byte(), byte()});
            if (transparent) content.paletteAlpha = {byte(), byte()};
        } else if (transparent) {
            // The colour of one pixel, and beside it one that differs in the last bit only.
            const std::size_t last = content.samples.size() - content.channels();
            const std::uint16_t* const pixel = &content.samples[last];
            content.transparent = content.channels() == 1 ? png_color_16{0, 0, 0, 0, pixel[0]}
                                                          : png_color_16{0, pixel[0], pixel[1], pixel[2], 0};
            content.samples[0] = pixel[0] ^ (last > 0 ? 1 : 0);
            for (unsigned channel = 1; channel < content.channels(); ++channel)
                content.samples[channel] = pixel[channel];
        }
        const auto loaded = LoadedPicture::of(encode(content));
        ASSERT_NE(loaded.texture, nullptr) << loaded.reason;
        ASSERT_EQ(loaded.texture->width(), width);
        ASSERT_EQ(loaded.texture->height(), height);
        EXPECT_TRUE(loaded.bytes == expectedPixels(content)) << width << 'x' << height;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, PNG, testing::Combine(testing::ValuesIn(allKinds()), testing::Bool()));

TEST(PNGSamples, Of16BitsAreRoundedToTheNearest) {
    PNGContent content{256, 256, PNG_COLOR_TYPE_GRAY, 16, false, {}, {}, {}, {}};
    for (unsigned value = 0; value < 65536; ++value) content.samples.push_back(static_cast<std::uint16_t>(value));
    EXPECT_TRUE(LoadedPicture::of(encode(content)).bytes == expectedPixels(content));
}

TEST(PNGTexture, HasTheFormatThatTheOptionAsksFor) {
    const test::TemporaryFolder folder;
    const URL file(
        folder.write("named as.jpg", encode(PNGContent{1, 1, PNG_COLOR_TYPE_GRAY, 8, false, {200}, {}, {}, {}})));
    for (const bool sRGB : {false, true}) {
        const LoadedPicture loaded(file, sRGB, test::device());
        EXPECT_EQ(loaded.texture->pixelFormat(), sRGB ? MTLPixelFormat::bgra8Unorm_srgb : MTLPixelFormat::bgra8Unorm);
        EXPECT_EQ(loaded.texture->usage(), MTLTextureUsage::shaderRead);
        EXPECT_EQ(loaded.bytes, (std::vector<std::uint8_t>{200, 200, 200, 255}));
    }
    EXPECT_EQ(MTKTextureLoader(test::device()).newTexture(file, {}, nullptr)->pixelFormat(),
              MTLPixelFormat::bgra8Unorm);
    const auto refusingDevice = std::make_shared<test::RecordingDevice>();
    refusingDevice->refused = {"makeTexture"};
    EXPECT_EQ(LoadedPicture(file, false, refusingDevice).reason, "the device makes no texture of 1x1 pixels");
}

}  // namespace
}  // namespace ondrix
