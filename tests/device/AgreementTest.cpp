// The same bytes from every number of threads and every SIMD level.
#include <random>
#include <string_view>

#include <gtest/gtest.h>

#include <ondrix/platform/software/SimdLevel.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

struct Setting {
    int threads;
    std::string level;
};

/// All kinds of work in one command buffer over targets of odd sizes; returns the bytes of all results.
std::vector<std::uint8_t> draw(const Setting& setting, MTLPixelFormat format) {
    const Gpu gpu(setting.threads, setting.level);
    const auto image = gpu.texture(97, 61, format), target = gpu.texture(331, 257, format),
               copy = gpu.texture(333, 259, format);
    std::vector<Vertex> vertices = {{-1, 1, 0, 1, {0, 0, 0, 0}},
                                    {-1, -1, 0, 1, {0, 1, 0, 0}},
                                    {1, -1, 0, 1, {1, 1, 0, 0}},
                                    {1, 1, 0, 1, {1, 0, 0, 0}}};
    std::mt19937 random(11);
    std::uniform_real_distribution<float> anywhere(-1.5F, 1.5F), depth(0.5F, 3);
    for (int vertex = 0; vertex < 60; ++vertex) {
        const float w = depth(random);
        vertices.push_back(
            {anywhere(random) * w, anywhere(random) * w, 0.25F * w, w, {anywhere(random), anywhere(random), 0, 0}});
    }
    std::vector<std::uint16_t> indices = {0, 1, 3, 2};
    for (std::uint16_t vertex = 4; vertex < vertices.size(); ++vertex) indices.push_back(vertex);

    auto commands = gpu.queue->makeCommandBuffer();
    auto compute = commands->makeComputeCommandEncoder();
    compute->setComputePipelineState(gpu.compute("pattern"));
    compute->setTexture(image, 0);
    compute->dispatchThreadgroups({100, 100, 1}, {1, 1, 1});
    compute->endEncoding();

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

    const float constants[2] = {0.75F, 0.1F};
    compute = commands->makeComputeCommandEncoder();
    compute->setComputePipelineState(gpu.compute("scaleAndAdd"));
    compute->setTexture(target, 0);
    compute->setTexture(copy, 1);
    compute->setBytes(constants, sizeof(constants), 3);
    compute->dispatchThreadgroups({400, 300, 1}, {1, 1, 1});
    compute->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), MTLCommandBufferStatus::completed);

    std::vector<std::uint8_t> result = bytes(*image);
    for (const auto& texture : {target, copy}) {
        const auto part = bytes(*texture);
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

class Agreement : public testing::TestWithParam<MTLPixelFormat> {};

}  // namespace

TEST_P(Agreement, OfThreadsAndLevels) {
    const auto reference = draw({1, "plain"}, GetParam());
    for (const software::SimdLevel& level : software::simdLevels()) {
        const bool built = std::string_view(SIMD_LEVELS).find(level.name) != std::string_view::npos;
        if (!built || !level.supported()) continue;
        for (int threads = 1; threads <= 5; ++threads) {
            EXPECT_TRUE(draw({threads, std::string(level.name)}, GetParam()) == reference)
                << level.name << ", " << threads << " threads";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, Agreement,
                         testing::Values(MTLPixelFormat::bgra8Unorm, MTLPixelFormat::rgba8Unorm_srgb,
                                         MTLPixelFormat::rg8Unorm, MTLPixelFormat::rgba16Float,
                                         MTLPixelFormat::rgba32Float));
