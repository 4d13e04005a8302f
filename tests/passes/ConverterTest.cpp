#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

#include <tests/support/Frames.h>
#include <tests/support/RecordingTest.h>

namespace ondrix {
namespace {

using test::noise;
using test::Picture;
using test::pictureOf;
using test::textureOf;
using testing::ElementsAre;

constexpr OSType fullRange = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
constexpr OSType videoRange = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
constexpr OSType bgraFrame = kCVPixelFormatType_32BGRA;

/// The conversion in double precision with the published constants.
Picture convert(CVPixelBuffer& buffer, bool isFullRange) {
    const double luma = isFullRange ? 1.0 : 1.164, lumaOffset = isFullRange ? 0.0 : -0.07275;
    const double blueFromBlue = isFullRange ? 1.856 : 2.112, redFromRed = isFullRange ? 1.575 : 1.793;
    const double greenFromBlue = isFullRange ? -0.187 : -0.213, greenFromRed = isFullRange ? -0.468 : -0.533;
    std::map<std::pair<Int, Int>, std::array<double, 2>> chroma;
    test::forEachElement(buffer, 1, 2, [&chroma](const std::uint8_t* element, Int x, Int y) {
        chroma[{x, y}] = {element[0] / 255.0 - 0.5, element[1] / 255.0 - 0.5};
    });
    Picture result(CVPixelBufferGetWidth(buffer), CVPixelBufferGetHeight(buffer));
    auto* byte = result.bytes.data();
    test::forEachElement(buffer, 0, 1, [&](const std::uint8_t* element, Int x, Int y) {
        const double scaled = luma * *element / 255.0 + lumaOffset;
        const auto [blue, red] = chroma[{x / 2, y / 2}];
        for (const double colour : {scaled + blueFromBlue * blue, scaled + greenFromBlue * blue + greenFromRed * red,
                                    scaled + redFromRed * red, 1.0}) {
            *byte++ = static_cast<std::uint8_t>(std::lround(std::clamp(colour, 0.0, 1.0) * 255));
        }
    });
    return result;
}

class ConverterTest : public testing::Test {
protected:
    std::shared_ptr<Device> device = DeviceManager::shared().defaultDevice();
    std::shared_ptr<MetalTextureConverter> converter = device->textureConverter();
};

TEST_F(ConverterTest, BothRangesAgreeWithDoublePrecision) {
    for (const OSType format : {fullRange, videoRange}) {
        for (const auto& [width, height] : {std::pair<Int, Int>{1, 1}, {2, 2}, {33, 17}, {251, 127}, {640, 480}}) {
            const auto buffer = noise(width, height, format, static_cast<unsigned>(width));
            const auto texture = converter->texture(buffer);
            ASSERT_NE(texture, nullptr);
            const Picture expected = convert(*buffer, format == fullRange);
            const Picture converted = pictureOf(*texture);
            const auto isNear = [](int a, int b) { return std::abs(a - b) <= 1; };
            EXPECT_TRUE(std::ranges::equal(converted.bytes, expected.bytes, isNear)) << width << "x" << height;
        }
    }
}

TEST_F(ConverterTest, FramesOfOneSizeShareATextureAndAnotherSizeLeavesItToItsHolders) {
    const auto first = converter->texture(noise(40, 30, videoRange, 1));
    EXPECT_EQ(converter->texture(noise(40, 30, fullRange, 2)), first);
    const Picture before = pictureOf(*first);
    EXPECT_NE(converter->texture(noise(42, 30, fullRange, 3)), first);
    EXPECT_EQ(pictureOf(*first), before);
}

// Reading it fails on the GPU; a buffer that comes back from the pool then still holds the frame before.
TEST_F(ConverterTest, WorkThatTheGPURefusesGivesNoPixelBuffer) {
    const auto pool = converter->makePixelBufferPool(4, 4, bgraFrame);
    const auto target = device->makeTexture(4, 4, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::renderTarget);
    EXPECT_NE(converter->makePixelBuffer(*textureOf(device, Picture(4, 4)), *pool), nullptr);
    const test::LogCapture log;
    EXPECT_EQ(converter->makePixelBuffer(*target, *pool), nullptr);
    EXPECT_THAT(log.messages(), testing::Contains("Failed to blit the textures."));
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 0);
    NSError error;
    EXPECT_EQ(converter->makePixelBuffer(*target, *pool, &error), nullptr);
    EXPECT_THAT(error.localizedDescription(), testing::MatchesRegex("Failed to blit the textures: .*usage.*"));
}

/// A converter on a device that records and refuses.
class ConverterFailureTest : public test::RecordingTest {
protected:
    void expectNoTexture(const std::string& refused, OSType format, const std::vector<std::string>& messages) {
        expectErrors(
            {refused}, [&] { return converter->texture(noise(8, 8, format)); }, messages);
    }
    void expectNoPixelBuffer(const std::string& refused, CVPixelBufferPool& from,
                             const std::vector<std::string>& messages) {
        const auto source = texture(8, 8);
        expectErrors(
            {refused}, [&] { return converter->makePixelBuffer(*source, from); }, messages);
        EXPECT_EQ(CVPixelBufferPoolGetLiveCount(from), 0);
    }

    const std::string unprepared = "Failed to prepare YUV converter resources.";
    const std::string noDefaultLibrary =
        "Failed to create default library with the bundle '" +
        NSBundle::bundleForClass(MetalTextureConverter::anyClass())->bundlePath().string() + "'.";
    std::shared_ptr<MetalTextureConverter> converter = device->textureConverter();
    std::shared_ptr<CVPixelBufferPool> pool = converter->makePixelBufferPool(8, 8, bgraFrame);
};

TEST_F(ConverterFailureTest, EachStepOfAConversionIsReportedAndTriedAgain) {
    const std::string noPlanes = "Unable to extract YUV NV12 planes from the pixel buffer.";
    const std::string noConverter = "Unable to create YUV to RGB converter.";
    expectNoTexture("wrapPlane", bgraFrame, {});
    expectNoTexture("wrapPlane 1", videoRange, {noPlanes});
    takeCalls();
    expectNoTexture("wrapPlane 0", videoRange, {noPlanes});
    EXPECT_THAT(takeCalls(), ElementsAre("wrapPlane(0, 10)", "wrapPlane(1, 30)")) << "both planes are asked for";
    expectNoTexture("makeDefaultLibrary", videoRange, {noDefaultLibrary, noConverter, unprepared});
    expectNoTexture("Ondrix::YUVtoRGB::CS_Main", videoRange,
                    {"Failed to create compute shader function 'Ondrix::YUVtoRGB::CS_Main'.", noConverter, unprepared});
    expectNoTexture("makeBuffer", videoRange,
                    {"Failed to make constant buffer of length 80.",
                     "Unable to create shader constant buffer for the YUV to RGB converter.", unprepared});
    expectNoTexture("makeCommandQueue", videoRange, {"Failed to run YUV to RGB conversion."});
    mtlDevice->nextError = NSError("the GPU is gone");
    NSError error;
    EXPECT_EQ(converter->texture(noise(8, 8, videoRange), &error), nullptr);
    EXPECT_EQ(error.localizedDescription(), "Failed to run YUV to RGB conversion: the GPU is gone");
    const auto converted = converter->texture(noise(8, 8, videoRange));
    ASSERT_NE(converted, nullptr);
    EXPECT_EQ(takeCalls().back(), "waitUntilCompleted()");

    expectErrors({"makeTexture"}, [&] { return converter->texture(noise(10, 8, videoRange)); }, {unprepared});
    EXPECT_EQ(converter->texture(noise(8, 8, videoRange)), converted) << "what was made stays";
}

TEST_F(ConverterFailureTest, EachStepOfAnOutputSaysWhatFailedAndReturnsTheBuffer) {
    const std::string noTexture = "Failed to create Metal texture from the output pixel buffer.";
    const std::string noRunner = "Unable to create the blit command runner.";
    const std::string notPrepared = "Failed to prepare blit command runner.";
    expectNoPixelBuffer("wrapPlane", *pool, {noTexture});
    for (const auto& [width, height, format] :
         {std::tuple<Int, Int, OSType>{7, 8, bgraFrame}, {8, 7, bgraFrame}, {8, 8, videoRange}}) {
        expectNoPixelBuffer("", *converter->makePixelBufferPool(width, height, format), {noTexture});
    }
    expectNoPixelBuffer("makeDefaultLibrary", *pool, {noDefaultLibrary, noRunner, notPrepared});
    expectNoPixelBuffer(
        "makeComputePipelineState", *pool,
        {"Failed to create compute pipeline state for the MetalComputeCommandRunner.", noRunner, notPrepared});
    expectNoPixelBuffer("makeCommandQueue", *pool, {"Failed to blit the textures."});

    const auto source = texture(8, 8);
    EXPECT_NE(converter->makePixelBuffer(*source, *converter->makePixelBufferPool(9, 9, bgraFrame)), nullptr);
    EXPECT_EQ(takeCalls().back(), "waitUntilCompleted()");
    source->cleanup();
    expectErrors({}, [&] { return converter->makePixelBuffer(*source, *pool); }, {});
    EXPECT_TRUE(calls.empty());
}

}  // namespace
}  // namespace ondrix
