#include <bit>
#include <cmath>
#include <string>
#include <unordered_set>

#include <gtest/gtest.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

TEST(Enumerations, TextsAreTakenByteForByte) {
    EXPECT_EQ(makeShaderType("vertex shader"), ShaderType::vertexShader);
    EXPECT_EQ(makeShaderType("compute shader"), ShaderType::computeShader);
    for (const char* text : {"Vertex shader", "vertex shader ", "vertexShader", "", "vertex"}) {
        EXPECT_EQ(makeShaderType(text), std::nullopt) << text;
    }
    EXPECT_EQ(makePassType("compute pass"), PassType::computePass);
    EXPECT_EQ(makePassType("computePass"), std::nullopt);
    EXPECT_EQ(makeShaderResourceType("constant buffer"), ShaderResourceType::constantBuffer);
    EXPECT_EQ(makeShaderResourceType("constantBuffer"), std::nullopt);
    EXPECT_EQ(rawValue(ShaderResourceType::uniformBuffer), "uniform buffer");
}

TEST(Enumerations, RotationsComeFromFourDegreeCountsOnly) {
    for (const Int degrees : {0, 90, 180, 270}) {
        const auto rotation = makeImageRotation(degrees);
        ASSERT_TRUE(rotation);
        EXPECT_EQ(rawValue(*rotation), degrees);
    }
    for (const Int degrees : {360, -90, 45, 1}) EXPECT_EQ(makeImageRotation(degrees), std::nullopt) << degrees;
}

TEST(Enumerations, AllCanKeyHashedSets) {
    const std::unordered_set<ShaderType> shaders{ShaderType::vertexShader, ShaderType::fragmentShader};
    const std::unordered_set<ImageRotation> rotations{ImageRotation::degrees90, ImageRotation::degrees90};
    const std::unordered_set<ContentMode> modes{ContentMode::scaleToFill, ContentMode::scaleAspectFit};
    const std::unordered_set<YUVFormats> formats{YUVFormats::Unknown, YUVFormats::NV12FullRange};
    EXPECT_EQ(shaders.size() + rotations.size() + modes.size() + formats.size(), 7u);
    EXPECT_EQ(std::hash<ShaderResourceType>{}(ShaderResourceType::sampler), std::hash<std::string>{}("sampler"));
    EXPECT_EQ(std::hash<ImageRotation>{}(ImageRotation::degrees270), std::hash<Int>{}(270));
}

// With another rounding of pi, or a constant folded in higher precision, the small entries change size or sign.
TEST(Enumerations, RotationMatricesKeepTheResiduesOfTheirRoundedAngles) {
    const simd_float2x2 none = matrix(ImageRotation::degrees0);
    EXPECT_EQ(none.columns[0], (simd_float2{1, -0.0f}));
    EXPECT_EQ(none.columns[1], (simd_float2{0, 1}));

    const simd_float2x2 quarter = matrix(ImageRotation::degrees90);
    EXPECT_NEAR(quarter.columns[0].x, 7.55e-8, 1e-9);
    EXPECT_EQ(quarter.columns[0].y, -1);
    EXPECT_EQ(quarter.columns[1].x, 1);

    const simd_float2x2 half = matrix(ImageRotation::degrees180);
    EXPECT_EQ(half.columns[0].x, -1);
    EXPECT_NEAR(half.columns[1].x, 1.51e-7, 1e-9);
    EXPECT_NEAR(half.columns[0].y, -1.51e-7, 1e-9);

    const simd_float2x2 threeQuarters = matrix(ImageRotation::degrees270);
    EXPECT_NEAR(threeQuarters.columns[1].y, 1.19e-8, 1e-10);
    EXPECT_EQ(threeQuarters.columns[0].y, 1);
    EXPECT_EQ(threeQuarters.columns[1].x, -1);
}

}  // namespace
}  // namespace ondrix
