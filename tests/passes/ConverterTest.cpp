#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Picture.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

using test::Picture;
using test::PictureTexture;
using test::RecordingDevice;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr OSType fullRange = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
constexpr OSType videoRange = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
constexpr OSType bgra = kCVPixelFormatType_32BGRA;

std::shared_ptr<CVPixelBuffer> frame(Int width, Int height, OSType format, unsigned seed = 1) {
    std::shared_ptr<CVPixelBuffer> buffer;
    EXPECT_EQ(CVPixelBufferCreate(width, height, format, nullptr, &buffer), kCVReturnSuccess);
    std::mt19937 random(seed);
    const Int planes = format == bgra ? 1 : 2;
    for (Int plane = 0; plane < planes; ++plane) {
        const Int size = format == bgra ? 4 : plane + 1;
        test::forEachElement(*buffer, plane, size, [&](std::uint8_t* element, Int, Int) {
            for (Int i = 0; i < size; ++i) element[i] = static_cast<std::uint8_t>(random());
        });
    }
    return buffer;
}

Picture picture(CVPixelBuffer& buffer) {
    Picture result(CVPixelBufferGetWidth(buffer), CVPixelBufferGetHeight(buffer));
    test::forEachElement(buffer, 0, 4, [&result](const std::uint8_t* element, Int x, Int y) {
        std::copy_n(element, 4, &result.bytes[static_cast<std::size_t>((y * result.width + x) * 4)]);
    });
    return result;
}

/// The conversion in double precision with the published constants.
Picture convert(CVPixelBuffer& buffer, bool isFullRange) {
    const double luma = isFullRange ? 1.0 : 1.164, lumaOffset = isFullRange ? 0.0 : -0.07275;
    const double blueFromBlue = isFullRange ? 1.856 : 2.112, redFromRed = isFullRange ? 1.575 : 1.793;
    const double greenFromBlue = isFullRange ? -0.187 : -0.213, greenFromRed = isFullRange ? -0.468 : -0.533;
    Picture result(CVPixelBufferGetWidth(buffer), CVPixelBufferGetHeight(buffer));
    const Int chromaWidth = (result.width + 1) / 2;
    std::vector<double> chroma(static_cast<std::size_t>(chromaWidth * (result.height + 1)));
    test::forEachElement(buffer, 1, 2, [&](const std::uint8_t* element, Int x, Int y) {
        for (std::size_t i = 0; i < 2; ++i) {
            chroma[static_cast<std::size_t>(y * chromaWidth + x) * 2 + i] = element[i] / 255.0 - 0.5;
        }
    });
    test::forEachElement(buffer, 0, 1, [&](const std::uint8_t* element, Int x, Int y) {
        const double scaled = luma * *element / 255.0 + lumaOffset;
        const double* const blueRed = &chroma[static_cast<std::size_t>(y / 2 * chromaWidth + x / 2) * 2];
        const double colours[] = {scaled + blueFromBlue * blueRed[0],
                                  scaled + greenFromBlue * blueRed[0] + greenFromRed * blueRed[1],
                                  scaled + redFromRed * blueRed[1], 1.0};
        for (std::size_t i = 0; i < 4; ++i) {
            result.bytes[static_cast<std::size_t>(y * result.width + x) * 4 + i] =
                static_cast<std::uint8_t>(std::lround(std::clamp(colours[i], 0.0, 1.0) * 255));
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
            const auto buffer = frame(width, height, format, static_cast<unsigned>(width));
            const auto texture = converter->texture(buffer);
            ASSERT_NE(texture, nullptr);
            EXPECT_EQ(texture->pixelFormat(), MTLPixelFormat::bgra8Unorm);
            const Picture expected = convert(*buffer, format == fullRange);
            const Picture converted = PictureTexture::read(*texture);
            ASSERT_EQ(converted.bytes.size(), expected.bytes.size());
            for (std::size_t i = 0; i < expected.bytes.size(); ++i) {
                ASSERT_NEAR(converted.bytes[i], expected.bytes[i], 1) << width << "x" << height << " at " << i;
            }
        }
    }
}

TEST_F(ConverterTest, FramesOfOneSizeShareATextureAndAnotherSizeLeavesItToItsHolders) {
    const auto first = converter->texture(frame(40, 30, videoRange, 1));
    const auto second = converter->texture(frame(40, 30, fullRange, 2));
    EXPECT_EQ(first, second);
    const Picture before = PictureTexture::read(*second);
    const auto other = converter->texture(frame(42, 30, fullRange, 3));
    EXPECT_NE(other, second);
    EXPECT_EQ(other->width(), 42u);
    EXPECT_EQ(PictureTexture::read(*second), before);
}

TEST_F(ConverterTest, AnyOtherFormatIsWrappedWithoutCopying) {
    const auto buffer = frame(33, 5, bgra);
    EXPECT_EQ(converter->getYUVPixelBufferFormat(*buffer), YUVFormats::Unknown);
    EXPECT_EQ(converter->size(*buffer), (Size2<Int>{33, 5}));
    const auto texture = converter->texture(buffer);
    ASSERT_NE(texture, nullptr);
    EXPECT_NE(converter->texture(buffer), texture);
    test::forEachElement(*buffer, 0, 4, [](std::uint8_t* element, Int, Int) { element[2] ^= 0xff; });
    EXPECT_EQ(PictureTexture::read(*texture), picture(*buffer));
}

TEST_F(ConverterTest, PixelBuffersHoldTheTexturesPixels) {
    const Picture input = Picture::noise(37, 21, 4);
    const auto texture = PictureTexture::create(device, input);
    const auto pool = converter->makePixelBufferPool(37, 21, bgra);
    const auto first = converter->makePixelBuffer(*texture, *pool);
    const auto second = converter->makePixelBuffer(*texture, *pool);
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(CVPixelBufferGetLockCount(*first), 0);
    EXPECT_EQ(CVPixelBufferGetBytesPerRow(*first) % 64, 0);
    EXPECT_EQ(picture(*first), input);
    EXPECT_EQ(picture(*second), input);
}

TEST_F(ConverterTest, PoolsThatDontFitTheTextureAreRefused) {
    const auto texture = PictureTexture::create(device, Picture::noise(16, 16, 4));
    for (const auto& [width, height, format] :
         {std::tuple<Int, Int, OSType>{15, 16, bgra}, {16, 15, bgra}, {16, 16, videoRange}}) {
        const auto pool = converter->makePixelBufferPool(width, height, format);
        const test::LogCapture log;
        EXPECT_EQ(converter->makePixelBuffer(*texture, *pool), nullptr);
        EXPECT_THAT(log.messages(), ElementsAre("Failed to create Metal texture from the output pixel buffer."));
        EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 0);
    }
    const auto larger = converter->makePixelBufferPool(20, 20, bgra);
    EXPECT_NE(converter->makePixelBuffer(*texture, *larger), nullptr);
}

/// A converter on a device that records and refuses.
class ConverterFailureTest : public testing::Test {
protected:
    std::shared_ptr<Texture> texture() {
        return device->makeTexture(8, 8, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    }
    void expectNoTexture(const std::set<std::string>& refused, OSType format,
                         const std::vector<std::string>& messages) {
        mtlDevice->refused = refused;
        const test::LogCapture log;
        EXPECT_EQ(converter->texture(frame(8, 8, format)), nullptr);
        EXPECT_EQ(log.messages(), messages);
        mtlDevice->refused.clear();
    }
    void expectNoPixelBuffer(const std::set<std::string>& refused, const std::vector<std::string>& messages) {
        const auto source = texture();
        mtlDevice->refused = refused;
        const test::LogCapture log;
        EXPECT_EQ(converter->makePixelBuffer(*source, *pool), nullptr);
        EXPECT_EQ(log.messages(), messages);
        EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 0);
        mtlDevice->refused.clear();
    }

    const std::string unprepared = "Failed to prepare YUV converter resources.";
    const std::string bundlePath = NSBundle::bundleForClass(MetalTextureConverter::anyClass())->bundlePath();
    std::shared_ptr<RecordingDevice> mtlDevice = std::make_shared<RecordingDevice>();
    std::shared_ptr<Device> device = Device::create(mtlDevice);
    std::shared_ptr<MetalTextureConverter> converter = device->textureConverter();
    std::shared_ptr<CVPixelBufferPool> pool = converter->makePixelBufferPool(8, 8, bgra);
};

TEST_F(ConverterFailureTest, MissingPlanesOrOutputAreReportedAndTriedAgain) {
    const std::vector<std::string> noPlanes = {"Unable to extract YUV NV12 planes from the pixel buffer."};
    expectNoTexture({"wrapPlane"}, bgra, {});
    expectNoTexture({"wrapPlane 1"}, videoRange, noPlanes);
    mtlDevice->calls.clear();
    expectNoTexture({"wrapPlane 0"}, videoRange, noPlanes);
    EXPECT_THAT(mtlDevice->calls, ElementsAre("wrapPlane(0, 10)", "wrapPlane(1, 30)")) << "both planes are asked for";
    expectNoTexture({"makeTexture"}, videoRange, {unprepared});
    const auto converted = converter->texture(frame(8, 8, videoRange));
    ASSERT_NE(converted, nullptr);

    const test::LogCapture log;
    mtlDevice->refused = {"makeTexture"};
    EXPECT_EQ(converter->texture(frame(10, 8, videoRange)), nullptr);
    EXPECT_THAT(log.messages(), ElementsAre(unprepared));
    EXPECT_EQ(converter->texture(frame(8, 8, videoRange)), converted) << "what was made stays";
}

TEST_F(ConverterFailureTest, AMissingKernelOrRunIsReportedAndTriedAgain) {
    expectNoTexture({"makeDefaultLibrary"}, videoRange,
                    {"Failed to create default library with the bundle '" + bundlePath + "'.",
                     "Unable to create YUV to RGB converter.", unprepared});
    expectNoTexture({"Ondrix::YUVtoRGB::CS_Main"}, videoRange,
                    {"Failed to create compute shader function 'Ondrix::YUVtoRGB::CS_Main'.",
                     "Unable to create YUV to RGB converter.", unprepared});
    expectNoTexture({"makeBuffer"}, videoRange,
                    {"Failed to make constant buffer of length 80.",
                     "Unable to create shader constant buffer for the YUV to RGB converter.", unprepared});
    expectNoTexture({"makeCommandQueue"}, videoRange, {"Failed to run YUV to RGB conversion."});
    EXPECT_NE(converter->texture(frame(8, 8, videoRange)), nullptr);
}

TEST_F(ConverterFailureTest, AConversionBindsPlanesOutputAndConstants) {
    mtlDevice->calls.clear();
    ASSERT_NE(converter->texture(frame(9, 5, fullRange)), nullptr);
    EXPECT_THAT(mtlDevice->calls,
                ElementsAre("wrapPlane(0, 10)", "wrapPlane(1, 30)", "makeTexture(9, 5)",
                            "makeFunction(Ondrix::YUVtoRGB::CS_Main)", "makeBuffer(80)", "makeCommandQueue()",
                            "makeComputeCommandEncoder()", "setPipeline()", "setTexture(9x5, 0)", "setTexture(5x3, 1)",
                            "setTexture(9x5, 2)", "setBuffer(80 bytes, 0, 0)", "dispatch(1x1x1, 32x32x1)",
                            "endEncoding()", "commit()", "waitUntilCompleted()"));
}

TEST_F(ConverterFailureTest, ConstantsHaveTheirLayoutAndAreWrittenOnAChangeOfRange) {
    constexpr float expected[2][20] = {
        {1, 1, 1, 0, 0, -0.187f, 1.856f, 0, 1.575f, -0.468f, 0, 0, 0.5f, 0.5f, 0, 0, 0, 0, 0, 0},
        {1.164f, 1.164f, 1.164f, 0,    0, -0.213f, 2.112f,    0, 1.793f, -0.533f,
         0,      0,      0.5f,   0.5f, 0, 0,       -0.07275f, 0, 0,      0}};
    for (const int range : {0, 1, 0}) {
        const auto buffer = frame(8, 8, range == 0 ? fullRange : videoRange);
        ASSERT_NE(converter->texture(buffer), nullptr);
        const auto& constants = *mtlDevice->buffers.back();
        for (std::size_t i = 0; i < 20; ++i) EXPECT_EQ(constants.at<float>(4 * i), expected[range][i]) << range << i;
        static_cast<float*>(constants.contents())[0] = 77;
        ASSERT_NE(converter->texture(buffer), nullptr);
        EXPECT_EQ(constants.at<float>(0), 77) << "written without a change of range";
    }
}

TEST_F(ConverterFailureTest, EachStepOfAnOutputSaysWhatFailedAndReturnsTheBuffer) {
    const std::string noRunner = "Failed to prepare blit command runner.";
    expectNoPixelBuffer({"wrapPlane"}, {"Failed to create Metal texture from the output pixel buffer."});
    expectNoPixelBuffer({"makeDefaultLibrary"},
                        {"Failed to create default library with the bundle '" + bundlePath + "'.",
                         "Unable to create the blit command runner.", noRunner});
    expectNoPixelBuffer({"makeComputePipelineState"},
                        {"Failed to create compute pipeline state for the MetalComputeCommandRunner.",
                         "Unable to create the blit command runner.", noRunner});
    expectNoPixelBuffer({"makeCommandQueue"}, {"Failed to blit the textures."});

    mtlDevice->calls.clear();
    const auto source = texture();
    EXPECT_NE(converter->makePixelBuffer(*source, *pool), nullptr);
    source->cleanup();
    const test::LogCapture log;
    EXPECT_EQ(converter->makePixelBuffer(*source, *pool), nullptr);
    EXPECT_THAT(log.messages(), IsEmpty());
    EXPECT_THAT(mtlDevice->calls,
                ElementsAre("makeTexture(8, 8)", "wrapPlane(0, 80)", "makeCommandQueue()",
                            "makeComputeCommandEncoder()", "setPipeline()", "setTexture(8x8, 0)", "setTexture(8x8, 1)",
                            "dispatch(1x1x1, 32x32x1)", "endEncoding()", "commit()", "waitUntilCompleted()"));
}

}  // namespace
}  // namespace ondrix
