#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <tuple>

#include <gtest/gtest.h>
#include <tests/pictures/PictureWriter.h>
#include <tests/support/RecordingDevice.h>
#include <tests/support/TemporaryFolder.h>

namespace ondrix {
namespace {

using test::JPEGContent;
using test::LoadedPicture;
using test::PNGContent;

/// The pixels in blue, green, red, alpha that `content` stands for.
std::vector<std::uint8_t> expectedPixels(const PNGContent& content) {
    const auto scaled = [&](unsigned sample) {
        return static_cast<std::uint8_t>(std::lround(sample * 255.0 / ((1 << content.depth) - 1)));
    };
    std::vector<std::uint8_t> pixels;
    const std::size_t channels = content.channels();
    for (std::size_t start = 0; start < content.samples.size(); start += channels) {
        const std::uint16_t* const sample = &content.samples[start];
        if (content.colorType == PNG_COLOR_TYPE_PALETTE) {
            const png_color color = content.palette[sample[0]];
            const auto& alphas = content.paletteAlpha;
            const std::uint8_t alpha = sample[0] < alphas.size() ? alphas[sample[0]] : 255;
            pixels.insert(pixels.end(), {color.blue, color.green, color.red, alpha});
            continue;
        }
        const bool isGrey = channels < 3;
        const std::uint16_t red = sample[0], green = sample[isGrey ? 0 : 1], blue = sample[isGrey ? 0 : 2];
        const auto& key = content.transparent;
        std::uint8_t alpha = (content.colorType & PNG_COLOR_MASK_ALPHA) != 0 ? scaled(sample[channels - 1]) : 255;
        const auto isKey = [&] { return std::tie(red, green, blue) == std::tie(key->red, key->green, key->blue); };
        if (key && (isGrey ? red == key->gray : isKey())) alpha = 0;
        pixels.insert(pixels.end(), {scaled(blue), scaled(green), scaled(red), alpha});
    }
    return pixels;
}

void expectDecoded(PNGContent content, bool transparent) {
    std::mt19937 random(7);
    const auto byte = [&] { return static_cast<std::uint8_t>(random()); };
    content.samples.resize(std::size_t{content.width} * content.height * content.channels());
    for (auto& sample : content.samples) sample = static_cast<std::uint16_t>(random() % (1u << content.depth));
    if (content.colorType == PNG_COLOR_TYPE_PALETTE) {
        for (int entry = 0; entry < 1 << content.depth; ++entry) content.palette.push_back({byte(), byte(), byte()});
        if (transparent) content.paletteAlpha = {byte(), byte()};
    } else if (transparent && (content.colorType & PNG_COLOR_MASK_ALPHA) == 0) {
        // The colour of one pixel, and beside it one that differs in the last bit only.
        const auto pixel = content.samples.end() - content.channels();
        content.transparent = content.channels() == 1 ? png_color_16{0, 0, 0, 0, pixel[0]}
                                                      : png_color_16{0, pixel[0], pixel[1], pixel[2], 0};
        std::copy(pixel, content.samples.end(), content.samples.begin());
        if (content.width > 1) content.samples[0] ^= 1;
    }
    const auto loaded = LoadedPicture::of(encode(content));
    ASSERT_NE(loaded.texture, nullptr) << loaded.reason;
    ASSERT_EQ(loaded.texture->width(), content.width);
    EXPECT_TRUE(loaded.bytes == expectedPixels(content))
        << "colour type " << content.colorType << ", depth " << content.depth << ", " << content.width << " wide";
}

TEST(PNG, IsDecodedToTheLastPixel) {
    const std::pair<int, std::vector<int>> kinds[] = {{PNG_COLOR_TYPE_GRAY, {1, 2, 4, 8, 16}},
                                                      {PNG_COLOR_TYPE_PALETTE, {1, 2, 4, 8}},
                                                      {PNG_COLOR_TYPE_RGB, {8, 16}},
                                                      {PNG_COLOR_TYPE_GRAY_ALPHA, {8, 16}},
                                                      {PNG_COLOR_TYPE_RGB_ALPHA, {8, 16}}};
    for (const auto& [colorType, depths] : kinds) {
        for (const int depth : depths) {
            for (const auto& [width, height] : {std::pair<unsigned, unsigned>{1, 1}, {2, 5}, {37, 23}, {601, 130}}) {
                for (int options = 0; options < 4; ++options) {
                    expectDecoded({width, height, colorType, depth, options % 2 == 1}, options / 2 == 1);
                }
            }
        }
    }
}

TEST(PNGTexture, HasTheFormatThatTheOptionAsksFor) {
    const test::TemporaryFolder folder;
    const URL file(folder.write("named as.jpg", encode(PNGContent{.samples = {200}})));
    for (const bool sRGB : {false, true}) {
        const LoadedPicture loaded(file, sRGB);
        EXPECT_EQ(loaded.texture->pixelFormat(), sRGB ? MTLPixelFormat::bgra8Unorm_srgb : MTLPixelFormat::bgra8Unorm);
        EXPECT_EQ(loaded.texture->usage(), MTLTextureUsage::shaderRead);
        EXPECT_EQ(loaded.bytes, (std::vector<std::uint8_t>{200, 200, 200, 255}));
    }
    const auto unasked = MTKTextureLoader(MTLCreateSystemDefaultDevice()).newTexture(file, {}, nullptr);
    EXPECT_EQ(unasked->pixelFormat(), MTLPixelFormat::bgra8Unorm);
    const auto refusingDevice = std::make_shared<test::RecordingDevice>();
    refusingDevice->refused = {"makeTexture"};
    EXPECT_EQ(LoadedPicture(file, false, refusingDevice).reason, "the device makes no texture of 1x1 pixels");
}

/// A picture whose red rises to the right, whose green rises downwards and whose blue falls to the right.
JPEGContent gradient(std::uint32_t width, std::uint32_t height, J_COLOR_SPACE storedAs) {
    const bool isGrey = storedAs == JCS_GRAYSCALE;
    JPEGContent content{width, height, isGrey ? JCS_GRAYSCALE : JCS_RGB, storedAs};
    for (std::uint32_t at = 0; at < width * height; ++at) {
        const auto across = static_cast<std::uint8_t>(20 + 200 * (at % width) / width);
        const auto down = static_cast<std::uint8_t>(20 + 200 * (at / width) / height);
        content.samples.push_back(across);
        if (!isGrey) content.samples.insert(content.samples.end(), {down, static_cast<std::uint8_t>(240 - across)});
    }
    return content;
}

void expectDecodedNearly(J_COLOR_SPACE storedAs, int chromaStep, bool progressive) {
    const std::size_t components = storedAs == JCS_GRAYSCALE ? 1 : 3;
    for (const auto& [width, height] : {std::pair<unsigned, unsigned>{1, 1}, {127, 61}, {640, 250}}) {
        JPEGContent content = gradient(width, height, storedAs);
        content.chromaStep = chromaStep;
        content.progressive = progressive;
        const auto loaded = LoadedPicture::of(encode(content));
        ASSERT_NE(loaded.texture, nullptr) << loaded.reason;
        ASSERT_EQ(loaded.bytes.size(), std::size_t{width} * height * 4);
        int worst = 0;
        for (std::size_t pixel = 0; pixel < loaded.bytes.size() / 4; ++pixel) {
            for (std::size_t channel = 0; channel < 3; ++channel) {
                const int expected = content.samples[pixel * components + channel % components];
                worst = std::max(worst, std::abs(loaded.bytes[pixel * 4 + 2 - channel] - expected));
            }
            ASSERT_EQ(loaded.bytes[pixel * 4 + 3], 255);
        }
        EXPECT_LE(worst, components == 1 ? 2 : 4) << storedAs << chromaStep << progressive << ' ' << width;
    }
}

TEST(JPEG, IsDecodedNearItsPixels) {
    expectDecodedNearly(JCS_GRAYSCALE, 1, false);
    expectDecodedNearly(JCS_GRAYSCALE, 1, true);
    expectDecodedNearly(JCS_YCbCr, 1, false);
    expectDecodedNearly(JCS_YCbCr, 2, false);
    expectDecodedNearly(JCS_YCbCr, 2, true);
    expectDecodedNearly(JCS_RGB, 1, false);
}

}  // namespace
}  // namespace ondrix
