#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <tests/pictures/PictureWriter.h>

namespace ondrix {
namespace {

using test::JPEGContent;
using test::LoadedPicture;

/// A picture whose red rises to the right, whose green rises downwards and whose blue falls to the right.
JPEGContent gradient(std::uint32_t width, std::uint32_t height, J_COLOR_SPACE storedAs) {
    const bool isGrey = storedAs == JCS_GRAYSCALE;
    JPEGContent content{width, height, isGrey ? JCS_GRAYSCALE : JCS_RGB, storedAs, {}};
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const auto across = static_cast<std::uint8_t>(20 + 200 * x / width);
            content.samples.push_back(across);
            if (isGrey) continue;
            content.samples.push_back(static_cast<std::uint8_t>(20 + 200 * y / height));
            content.samples.push_back(static_cast<std::uint8_t>(240 - across));
        }
    }
    return content;
}

struct Kind {
    J_COLOR_SPACE storedAs;
    int chromaStep;
    bool progressive;
};

std::ostream& operator<<(std::ostream& stream, const Kind& kind) {
    return stream << "colour space " << kind.storedAs << ", chroma step " << kind.chromaStep << ", progressive "
                  << kind.progressive;
}

class JPEG : public testing::TestWithParam<Kind> {};

TEST_P(JPEG, IsDecodedNearItsPixels) {
    const Kind& kind = GetParam();
    for (const auto& [width, height] : {std::pair(1u, 1u), std::pair(127u, 61u), std::pair(640u, 250u)}) {
        JPEGContent content = gradient(width, height, kind.storedAs);
        content.chromaStep = kind.chromaStep;
        content.progressive = kind.progressive;
        const auto loaded = LoadedPicture::of(encode(content));
        ASSERT_NE(loaded.texture, nullptr) << loaded.reason;
        const auto& pixels = loaded.bytes;
        ASSERT_EQ(pixels.size(), std::size_t{width} * height * 4);
        const bool isGrey = kind.storedAs == JCS_GRAYSCALE;
        int worst = 0;
        for (std::size_t pixel = 0; pixel < pixels.size() / 4; ++pixel) {
            for (std::size_t channel = 0; channel < 3; ++channel) {
                const int expected = content.samples[isGrey ? pixel : pixel * 3 + channel];
                worst = std::max(worst, std::abs(pixels[pixel * 4 + 2 - channel] - expected));
            }
            ASSERT_EQ(pixels[pixel * 4 + 3], 255);
        }
        EXPECT_LE(worst, isGrey ? 2 : 4) << width << 'x' << height;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, JPEG,
                         testing::Values(Kind{JCS_GRAYSCALE, 1, false}, Kind{JCS_GRAYSCALE, 1, true},
                                         Kind{JCS_YCbCr, 1, false}, Kind{JCS_YCbCr, 2, false}, Kind{JCS_YCbCr, 2, true},
                                         Kind{JCS_RGB, 1, false}));

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
