#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
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
            const bool hasAlpha = sample[0] < content.paletteAlpha.size();
            const std::uint8_t alpha = hasAlpha ? content.paletteAlpha[sample[0]] : 255;
            pixels.insert(pixels.end(), {color.blue, color.green, color.red, alpha});
            continue;
        }
        const bool isGrey = channels < 3;
        const std::uint16_t red = sample[0], green = sample[isGrey ? 0 : 1], blue = sample[isGrey ? 0 : 2];
        const auto& key = content.transparent;
        std::uint8_t alpha = (content.colorType & PNG_COLOR_MASK_ALPHA) != 0 ? scaled(sample[channels - 1]) : 255;
        if (key && red == (isGrey ? key->gray : key->red)) {
            if (isGrey || (green == key->green && blue == key->blue)) alpha = 0;
        }
        pixels.insert(pixels.end(), {scaled(blue), scaled(green), scaled(red), alpha});
    }
    return pixels;
}

/// Colour type and depth.
using Kind = std::pair<int, int>;
const Kind kinds[] = {{PNG_COLOR_TYPE_GRAY, 1},        {PNG_COLOR_TYPE_GRAY, 2},      {PNG_COLOR_TYPE_GRAY, 4},
                      {PNG_COLOR_TYPE_GRAY, 8},        {PNG_COLOR_TYPE_GRAY, 16},     {PNG_COLOR_TYPE_PALETTE, 1},
                      {PNG_COLOR_TYPE_PALETTE, 2},     {PNG_COLOR_TYPE_PALETTE, 4},   {PNG_COLOR_TYPE_PALETTE, 8},
                      {PNG_COLOR_TYPE_RGB, 8},         {PNG_COLOR_TYPE_RGB, 16},      {PNG_COLOR_TYPE_GRAY_ALPHA, 8},
                      {PNG_COLOR_TYPE_GRAY_ALPHA, 16}, {PNG_COLOR_TYPE_RGB_ALPHA, 8}, {PNG_COLOR_TYPE_RGB_ALPHA, 16}};

class PNG : public testing::TestWithParam<std::tuple<Kind, bool, bool>> {};

TEST_P(PNG, IsDecodedToTheLastPixel) {
    const auto& [kind, interlaced, transparent] = GetParam();
    std::mt19937 random(7);
    const auto byte = [&] { return static_cast<std::uint8_t>(random()); };
    const std::pair<unsigned, unsigned> sizes[] = {{1, 1}, {2, 5}, {37, 23}, {601, 130}};
    for (const auto& [width, height] : sizes) {
        PNGContent content{width, height, kind.first, kind.second, interlaced};
        content.samples.resize(std::size_t{width} * height * content.channels());
        for (auto& sample : content.samples) sample = static_cast<std::uint16_t>(random() % (1u << content.depth));
        if (content.colorType == PNG_COLOR_TYPE_PALETTE) {
            for (int entry = 0; entry < 1 << content.depth; ++entry)
                content.palette.push_back({byte(), byte(), byte()});
            if (transparent) content.paletteAlpha = {byte(), byte()};
        } else if (transparent && (content.colorType & PNG_COLOR_MASK_ALPHA) == 0) {
            // The colour of one pixel, and beside it one that differs in the last bit only.
            const auto pixel = content.samples.end() - content.channels();
            content.transparent = content.channels() == 1 ? png_color_16{0, 0, 0, 0, pixel[0]}
                                                          : png_color_16{0, pixel[0], pixel[1], pixel[2], 0};
            std::copy(pixel, content.samples.end(), content.samples.begin());
            if (width > 1) content.samples[0] ^= 1;
        }
        const auto loaded = LoadedPicture::of(encode(content));
        ASSERT_NE(loaded.texture, nullptr) << loaded.reason;
        ASSERT_EQ(loaded.texture->width(), width);
        EXPECT_TRUE(loaded.bytes == expectedPixels(content)) << width << 'x' << height;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, PNG, testing::Combine(testing::ValuesIn(kinds), testing::Bool(), testing::Bool()));

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
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const auto across = static_cast<std::uint8_t>(20 + 200 * x / width);
            const auto down = static_cast<std::uint8_t>(20 + 200 * y / height);
            content.samples.push_back(across);
            if (!isGrey) content.samples.insert(content.samples.end(), {down, static_cast<std::uint8_t>(240 - across)});
        }
    }
    return content;
}

/// Stored colour space, chroma step, and whether the file is progressive.
class JPEG : public testing::TestWithParam<std::tuple<J_COLOR_SPACE, int, bool>> {};

TEST_P(JPEG, IsDecodedNearItsPixels) {
    const auto& [storedAs, chromaStep, progressive] = GetParam();
    const std::size_t components = storedAs == JCS_GRAYSCALE ? 1 : 3;
    const std::pair<unsigned, unsigned> sizes[] = {{1, 1}, {127, 61}, {640, 250}};
    for (const auto& [width, height] : sizes) {
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
        EXPECT_LE(worst, components == 1 ? 2 : 4) << width << 'x' << height;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, JPEG,
                         testing::Values(std::tuple(JCS_GRAYSCALE, 1, false), std::tuple(JCS_GRAYSCALE, 1, true),
                                         std::tuple(JCS_YCbCr, 1, false), std::tuple(JCS_YCbCr, 2, false),
                                         std::tuple(JCS_YCbCr, 2, true), std::tuple(JCS_RGB, 1, false)));

TEST(JPEGOrientation, IsNotApplied) {
    JPEGContent content = gradient(40, 20, JCS_YCbCr);
    const auto plain = LoadedPicture::of(encode(content));
    // Big-endian TIFF with one entry: orientation (0x0112), a short, 6 (turn by 90 degrees).
    content.exif = std::string("Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0", 32);
    const auto turned = LoadedPicture::of(encode(content));
    ASSERT_NE(turned.texture, nullptr) << turned.reason;
    EXPECT_EQ(turned.texture->width(), 40u);
    EXPECT_TRUE(turned.bytes == plain.bytes);
}

TEST(JPEGColor, InCMYKIsRefused) {
    for (const J_COLOR_SPACE storedAs : {JCS_CMYK, JCS_YCCK}) {
        const auto loaded = LoadedPicture::of(encode(JPEGContent{2, 1, JCS_CMYK, storedAs, {1, 2, 3, 4, 5, 6, 7, 8}}));
        EXPECT_EQ(loaded.texture, nullptr);
        EXPECT_EQ(loaded.reason, "JPEG files in CMYK can't be read");
    }
}

}  // namespace
}  // namespace ondrix
