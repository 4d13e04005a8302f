// Command buffers that can't run: they end with a status and a text that names function, slot and expectation; what was
// recorded before has run, what comes after has not.
#include <functional>

#include <gmock/gmock.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;
using testing::HasSubstr;

namespace {

/// Objects that work together; each case spoils one thing.
struct Scene {
    Gpu gpu;
    std::shared_ptr<MTLTexture> target = gpu.texture(4, 4), image = gpu.texture(4, 4);
    std::shared_ptr<MTLSamplerState> sampler = gpu.device->makeSamplerState({});
    std::shared_ptr<MTLBuffer> vertices = gpu.device->makeBuffer(4 * sizeof(Vertex), 0);
    std::shared_ptr<MTLBuffer> indices = gpu.buffer(std::vector<std::uint16_t>{0, 1, 2, 3});

    std::shared_ptr<MTLTexture> textureFor(MTLTextureUsage usage) {
        return gpu.texture(4, 4, MTLPixelFormat::rgba32Float, usage);
    }
};

using Compute = std::function<void(Scene&, MTLComputeCommandEncoder&)>;
using Render = std::function<void(Scene&, MTLRenderCommandEncoder&)>;

struct Case {
    const char* name;
    std::vector<std::string> words;  ///< of the error
    Compute compute;                 ///< changes bindings of "scaleAndAdd" before its dispatch
    Render render;                   ///< changes bindings of "vertexTwoPairs" and "fragmentSample" before their draw
    std::function<void(Scene&, MTLRenderPassDescriptor&)> pass;  ///< changes the render pass
};

Case compute(const char* name, std::vector<std::string> words, Compute change) {
    return {name, std::move(words), std::move(change), nullptr, nullptr};
}
Case render(const char* name, std::vector<std::string> words, Render change) {
    return {name, std::move(words), nullptr, std::move(change), nullptr};
}

void encodeCompute(const Case& c, Scene& scene, MTLCommandBuffer& commands) {
    const float constants[2] = {1, 0};
    auto encoder = commands.makeComputeCommandEncoder();
    encoder->setComputePipelineState(scene.gpu.compute("scaleAndAdd"));
    encoder->setTexture(scene.image, 0);
    encoder->setTexture(scene.target, 1);
    encoder->setBytes(constants, sizeof(constants), 3);
    c.compute(scene, *encoder);
    encoder->dispatchThreadgroups({4, 4, 1}, {1, 1, 1});
    encoder->endEncoding();
}

void encodeRender(const Case& c, Scene& scene, MTLCommandBuffer& commands) {
    MTLRenderPassDescriptor descriptor{scene.target, MTLLoadAction::load, MTLStoreAction::store, {}};
    if (c.pass) c.pass(scene, descriptor);
    auto encoder = commands.makeRenderCommandEncoder(descriptor);
    encoder->setRenderPipelineState(scene.gpu.render("vertexTwoPairs", "fragmentSample"));
    encoder->setVertexBuffer(scene.vertices, 0, 0);
    encoder->setFragmentTexture(scene.image, 0);
    encoder->setFragmentSamplerState(scene.sampler, 1);
    if (c.render) c.render(scene, *encoder);
    encoder->drawIndexedPrimitives(MTLPrimitiveType::triangleStrip, 4, MTLIndexType::uint16, scene.indices, 0);
    encoder->endEncoding();
}

class CommandErrors : public testing::TestWithParam<Case> {};

std::vector<Case> cases() {
    const auto draw = [](std::int64_t count, MTLIndexType type, std::int64_t offset) -> Render {
        return [=](Scene& s, MTLRenderCommandEncoder& e) {
            e.drawIndexedPrimitives(MTLPrimitiveType::triangle, count, type, s.indices, offset);
        };
    };
    return {
        compute("NoPipeline", {"no compute pipeline state"},
                [](auto&, auto& e) { e.setComputePipelineState(nullptr); }),
        compute("NoTexture", {"scaleAndAdd", "texture slot 0 is empty", "reads"},
                [](auto&, auto& e) { e.setTexture(nullptr, 0); }),
        compute("NoTarget", {"scaleAndAdd", "texture slot 1 is empty", "writes"},
                [](auto&, auto& e) { e.setTexture(nullptr, 1); }),
        compute("NoConstants", {"scaleAndAdd", "buffer slot 3 is empty", "8 bytes"},
                [](auto&, auto& e) { e.setBuffer(nullptr, 0, 3); }),
        compute("ShortConstants", {"scaleAndAdd", "buffer slot 3 provides 4 bytes", "8 bytes"},
                [](auto& s, auto& e) { e.setBuffer(s.gpu.device->makeBuffer(12, 0), 8, 3); }),
        compute("OffsetOutside", {"setBuffer", "offset 13", "12 bytes"},
                [](auto& s, auto& e) { e.setBuffer(s.gpu.device->makeBuffer(12, 0), 13, 3); }),
        compute("NotReadable", {"scaleAndAdd", "texture slot 0", "shaderRead"},
                [](auto& s, auto& e) { e.setTexture(s.textureFor(MTLTextureUsage::shaderWrite), 0); }),
        compute("NotWritable", {"scaleAndAdd", "texture slot 1", "shaderWrite"},
                [](auto& s, auto& e) {
                    e.setTexture(s.textureFor(MTLTextureUsage::shaderRead | MTLTextureUsage::renderTarget), 1);
                }),
        compute("ReadAndWritten", {"scaleAndAdd", "texture slot 0", "texture slot 1"},
                [](auto& s, auto& e) { e.setTexture(s.target, 0); }),
        compute("TextureSlot", {"setTexture", "slot 31", "0 to 30"},
                [](auto& s, auto& e) { e.setTexture(s.image, 31); }),
        compute("SamplerSlot", {"setSamplerState", "slot 16", "0 to 15"},
                [](auto& s, auto& e) { e.setSamplerState(s.sampler, 16); }),
        compute("BufferSlot", {"setBuffer", "slot -1", "0 to 30"},
                [](auto& s, auto& e) { e.setBuffer(s.vertices, 0, -1); }),
        render("NoPipeline", {"no render pipeline state"}, [](auto&, auto& e) { e.setRenderPipelineState(nullptr); }),
        render("NoTexture", {"fragmentSample", "texture slot 0 is empty"},
               [](auto&, auto& e) { e.setFragmentTexture(nullptr, 0); }),
        render("NoSampler", {"fragmentSample", "sampler slot 1 is empty"},
               [](auto&, auto& e) { e.setFragmentSamplerState(nullptr, 1); }),
        render("NoVertices", {"vertexTwoPairs", "buffer slot 0 is empty", "vertex attribute 0"},
               [](auto&, auto& e) { e.setVertexBuffer(nullptr, 0, 0); }),
        render("NoVertexConstants", {"vertexBare", "buffer slot 2 is empty", "16 bytes"},
               [](auto& s, auto& e) { e.setRenderPipelineState(s.gpu.render("vertexBare", "fragmentConstant")); }),
        render("NotReadable", {"fragmentSample", "shaderRead"},
               [](auto& s, auto& e) { e.setFragmentTexture(s.textureFor(MTLTextureUsage::renderTarget), 0); }),
        render("ReadsItsTarget", {"fragmentSample", "texture slot 0", "the colour attachment"},
               [](auto& s, auto& e) { e.setFragmentTexture(s.target, 0); }),
        render("OtherFormat", {"MTLPixelFormatRGBA32Float (125)", "MTLPixelFormatRGBA8Unorm (70)", "fragmentSample"},
               [](auto& s, auto& e) {
                   e.setRenderPipelineState(
                       s.gpu.render("vertexTwoPairs", "fragmentSample", MTLPixelFormat::rgba8Unorm));
               }),
        render("FewIndices", {"index buffer provides 4 indices", "5 are drawn"}, draw(5, MTLIndexType::uint16, 0)),
        render("FewIndicesAfterOffset", {"provides 1 indices"}, draw(2, MTLIndexType::uint32, 4)),
        render("OddOffset", {"offset 1 is not a multiple of 2"}, draw(1, MTLIndexType::uint16, 1)),
        render("OddWordOffset", {"offset 2 is not a multiple of 4"}, draw(1, MTLIndexType::uint32, 2)),
        render("FarOffset", {"provides 0 indices"}, draw(1, MTLIndexType::uint32, std::int64_t{1} << 62)),
        render("FragmentSlot", {"setFragmentBuffer", "slot 31"},
               [](auto& s, auto& e) { e.setFragmentBuffer(s.vertices, 0, 31); }),
        render("VertexSlot", {"setVertexTexture", "slot 40"},
               [](auto& s, auto& e) { e.setVertexTexture(s.image, 40); }),
        {"NoAttachment",
         {"no colour attachment"},
         nullptr,
         nullptr,
         [](auto&, auto& pass) { pass.colorAttachment0Texture = nullptr; }},
        {"NoRenderTarget",
         {"colour attachment", "renderTarget"},
         nullptr,
         nullptr,
         [](auto& s, auto& pass) { pass.colorAttachment0Texture = s.textureFor(MTLTextureUsage::shaderRead); }},
    };
}

}  // namespace

TEST_P(CommandErrors, AreDescribedAndEndTheWorkThere) {
    const Case& c = GetParam();
    Scene scene;
    const auto before = scene.gpu.texture(4, 4), after = scene.gpu.texture(4, 4);
    auto commands = scene.gpu.queue->makeCommandBuffer();
    scene.gpu.fill(*commands, before, {1, 1, 1, 1});
    if (c.compute) {
        encodeCompute(c, scene, *commands);
    } else {
        encodeRender(c, scene, *commands);
    }
    scene.gpu.fill(*commands, after, {1, 1, 1, 1});
    EXPECT_FALSE(commands->error());
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), MTLCommandBufferStatus::error);
    ASSERT_TRUE(commands->error());
    for (const std::string& word : c.words) EXPECT_THAT(commands->error()->localizedDescription(), HasSubstr(word));
    EXPECT_EQ(colors(*before)[15], (Color{1, 1, 1, 1}));
    EXPECT_EQ(colors(*after)[15], (Color{0, 0, 0, 0}));
}

INSTANTIATE_TEST_SUITE_P(Cases, CommandErrors, testing::ValuesIn(cases()), [](const auto& test) {
    return std::string(test.param.compute ? "Compute" : "Render") + test.param.name;
});

TEST(CommandBuffers, RefuseASecondOpenEncoderAndCommitWithOne) {
    const Gpu gpu;
    auto commands = gpu.queue->makeCommandBuffer();
    auto encoder = commands->makeComputeCommandEncoder();
    EXPECT_EQ(commands->makeComputeCommandEncoder(), nullptr);
    EXPECT_EQ(commands->makeRenderCommandEncoder({}), nullptr);
    commands->commit();
    commands->waitUntilCompleted();
    ASSERT_TRUE(commands->error());
    EXPECT_THAT(commands->error()->localizedDescription(), HasSubstr("encoder had not ended"));
    encoder->dispatchThreadgroups({1, 1, 1}, {1, 1, 1});  // too late, and harmless
    encoder->endEncoding();
    EXPECT_EQ(commands->makeComputeCommandEncoder(), nullptr);
}

// Grids of no size, or far too large, are no error: they cover nothing, or the whole target.
TEST(CommandBuffers, ClampGridsToTheTarget) {
    const Gpu gpu;
    const auto target = gpu.texture(5, 3);
    const auto written = [&](MTLSize groups, MTLSize threads) {
        const std::vector<float> empty(4 * 15);
        target->replace(MTLRegionMake2D(0, 0, 5, 3), 0, empty.data(), 5 * 16);
        const Color color = {1, 2, 3, 4};
        auto commands = gpu.queue->makeCommandBuffer();
        auto encoder = commands->makeComputeCommandEncoder();
        encoder->setComputePipelineState(gpu.compute("fill"));
        encoder->setTexture(target, 0);
        encoder->setBytes(color.data(), sizeof(color), 0);
        encoder->dispatchThreadgroups(groups, threads);
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        EXPECT_EQ(commands->status(), MTLCommandBufferStatus::completed);
        const auto drawn = colors(*target);
        return std::count(drawn.begin(), drawn.end(), color);
    };
    const std::uint64_t huge = std::uint64_t{1} << 63;
    EXPECT_EQ(written({2, 1, 1}, {2, 2, 1}), 8);
    EXPECT_EQ(written({1, 3, 7}, {2, 1, 1}), 6);
    EXPECT_EQ(written({huge, huge, 1}, {huge, 4, 1}), 15);
    EXPECT_EQ(written({0, 3, 1}, {8, 8, 1}), 0);
    EXPECT_EQ(written({3, 3, 1}, {8, 8, 0}), 0);
}
