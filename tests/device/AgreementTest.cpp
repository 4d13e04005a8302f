// The same bytes from every number of threads, every SIMD level and a device that validates, in textures over memory
// that borders on pages which can't be touched.
#include <numeric>
#include <random>

#include <gtest/gtest.h>
#include <tests/support/GuardedMemory.h>
#include <tests/support/SimdLevels.h>

#include <ondrix/platform/corevideo/IOSurface.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

/// One plane of an application's own memory, not a byte larger than its elements.
class GuardedSurface : public IOSurface {
public:
    GuardedSurface(std::uint64_t width, std::uint64_t height, std::uint64_t elementBytes, GuardedEnd end)
        : width_(width), height_(height), elementBytes_(elementBytes), memory_(width * height * elementBytes, end) {}

    std::uint64_t planeCount() const override { return 1; }
    std::uint64_t widthOfPlane(std::uint64_t) const override { return width_; }
    std::uint64_t heightOfPlane(std::uint64_t) const override { return height_; }
    std::uint64_t bytesPerElementOfPlane(std::uint64_t) const override { return elementBytes_; }
    std::uint64_t bytesPerRowOfPlane(std::uint64_t) const override { return width_ * elementBytes_; }
    std::uint8_t* baseAddressOfPlane(std::uint64_t) const override { return memory_.bytes(); }

private:
    std::uint64_t width_, height_, elementBytes_;
    GuardedMemory memory_;
};

/// All kinds of work in one command buffer over targets of odd sizes; returns the bytes of all results.
std::vector<std::uint8_t> draw(int threads, const std::string& level, MTLPixelFormat format, GuardedEnd end) {
    const bool validates = level == "checked";
    const Gpu gpu(threads, validates ? "" : level, validates);
    const auto texture = [&](std::uint64_t width, std::uint64_t height) {
        const auto elementBytes = static_cast<std::uint64_t>(pixelFormatInfo(format)->bytesPerPixel);
        return gpu.device->makeTexture({format, width, height, false, MTLTextureUsage::unknown},
                                       std::make_shared<GuardedSurface>(width, height, elementBytes, end), 0);
    };
    const auto image = texture(97, 61), target = texture(331, 257), copy = texture(333, 259);
    std::vector<Vertex> vertices = {
        {-1, 1, 0, 1, {0, 0}}, {-1, -1, 0, 1, {0, 1}}, {1, 1, 0, 1, {1, 0}}, {1, -1, 0, 1, {1, 1}}};
    std::mt19937 random(11);
    std::uniform_real_distribution<float> anywhere(-1.5F, 1.5F), depth(0.5F, 3);
    for (int vertex = 0; vertex < 60; ++vertex) {
        const float w = depth(random);
        vertices.push_back(
            {anywhere(random) * w, anywhere(random) * w, 0.25F * w, w, {anywhere(random), anywhere(random)}});
    }
    std::vector<std::uint16_t> indices(vertices.size());
    std::iota(indices.begin(), indices.end(), std::uint16_t{0});

    auto commands = gpu.queue->makeCommandBuffer();
    gpu.dispatch(*commands, "pattern", {image}, nullptr);
    MTLSamplerDescriptor sampler;
    sampler.minFilter = sampler.magFilter = MTLSamplerMinMagFilter::linear;
    sampler.sAddressMode = MTLSamplerAddressMode::mirrorRepeat;
    auto render = commands->makeRenderCommandEncoder({target, MTLLoadAction::clear, MTLStoreAction::store, {}});
    render->setRenderPipelineState(gpu.render("vertexTwoPairs", "fragmentSample", format));
    render->setVertexBuffer(gpu.buffer(vertices), 0, 0);
    render->setFragmentTexture(image, 0);
    render->setFragmentSamplerState(gpu.device->makeSamplerState(sampler), 1);
    const auto buffer = gpu.buffer(indices);
    render->drawIndexedPrimitives(MTLPrimitiveType::triangleStrip, 4, MTLIndexType::uint16, buffer, 0);
    render->drawIndexedPrimitives(MTLPrimitiveType::triangle, 45, MTLIndexType::uint16, buffer, 8);
    render->drawIndexedPrimitives(MTLPrimitiveType::line, 30, MTLIndexType::uint16, buffer, 38);
    render->drawIndexedPrimitives(MTLPrimitiveType::point, 60, MTLIndexType::uint16, buffer, 8);
    render->endEncoding();
    gpu.dispatch(*commands, "scaleAndAdd", {target, copy}, gpu.buffer(std::vector{0.75F, 0.1F}));
    run(*commands);

    std::vector<std::uint8_t> result;
    for (const auto& each : {image, target, copy}) {
        const auto part = bytes(*each);
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

class Agreement : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(Agreement, OfThreadsAndLevels) {
    using enum MTLPixelFormat;
    if (!runsHere(GetParam())) GTEST_SKIP() << "this processor lacks " << GetParam();
    for (const auto format : {bgra8Unorm, rgba8Unorm_srgb, rg8Unorm, rgba16Float, rgba16Unorm, rgba32Float}) {
        const auto reference = draw(1, "plain", format, GuardedEnd::first);
        for (int threads = 1; threads <= 5; ++threads) {
            for (const GuardedEnd end : {GuardedEnd::first, GuardedEnd::last}) {
                EXPECT_TRUE(draw(threads, GetParam(), format, end) == reference)
                    << description(format) << ", " << threads << " threads";
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, Agreement, testing::ValuesIn(builtLevels()),
                         [](const auto& test) { return testName(test.param); });
