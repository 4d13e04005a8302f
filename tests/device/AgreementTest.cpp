// The same bytes from every number of threads and every SIMD level.
#include <numeric>
#include <random>
#include <string_view>

#include <gtest/gtest.h>

#include <ondrix/platform/software/SimdLevel.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

/// All kinds of work in one command buffer over targets of odd sizes; returns the bytes of all results.
std::vector<std::uint8_t> draw(int threads, std::string_view level, MTLPixelFormat format) {
    const Gpu gpu(threads, std::string(level));
    const auto image = gpu.texture(97, 61, format), target = gpu.texture(331, 257, format),
               copy = gpu.texture(333, 259, format);
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
    for (const auto& texture : {image, target, copy}) {
        const auto part = bytes(*texture);
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

class Agreement : public testing::TestWithParam<MTLPixelFormat> {};

}  // namespace

TEST_P(Agreement, OfThreadsAndLevels) {
    const auto reference = draw(1, "plain", GetParam());
    for (const software::SimdLevel& level : software::simdLevels()) {
        const bool built = std::string_view(SIMD_LEVELS).find(level.name) != std::string_view::npos;
        if (!built || !level.supported()) continue;
        for (int threads = 1; threads <= 5; ++threads) {
            EXPECT_TRUE(draw(threads, level.name, GetParam()) == reference)
                << level.name << ", " << threads << " threads";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, Agreement,
                         testing::Values(MTLPixelFormat::bgra8Unorm, MTLPixelFormat::rgba8Unorm_srgb,
                                         MTLPixelFormat::rg8Unorm, MTLPixelFormat::rgba16Float,
                                         MTLPixelFormat::rgba32Float));
