#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/Ondrix.h>
#include <ondrix/passes/BlitComputePass.h>

namespace ondrix {
namespace {

using test::Calls;
using test::RecordingDevice;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr auto bgra = MTLPixelFormat::bgra8Unorm;

class PassTest : public testing::Test {
protected:
    std::shared_ptr<Texture> texture(Int width, Int height) {
        return device->makeTexture(width, height, bgra, MTLTextureUsage::unknown);
    }
    std::shared_ptr<Shader> shader(const std::string& name, ShaderType as) {
        return device->makeDefaultShaderLibrary()->makeShader(name, as);
    }
    std::shared_ptr<RenderPass> renderPass(ShaderType vertexType, ShaderType fragmentType) {
        return RenderPass::create(device, shader("v", vertexType), shader("f", fragmentType), device->makeQuadMesh(),
                                  output, bgra);
    }
    bool encode(Pass& pass) {
        calls.clear();
        log.clear();
        return pass.encode(*commandBuffer);
    }

    test::LogCapture log;
    std::shared_ptr<RecordingDevice> mtlDevice = std::make_shared<RecordingDevice>();
    Calls& calls = mtlDevice->calls;
    std::shared_ptr<Device> device = Device::create(mtlDevice);
    std::shared_ptr<MTLCommandBuffer> commandBuffer = mtlDevice->makeCommandQueue()->makeCommandBuffer();
    std::shared_ptr<Texture> output = texture(64, 32);
};

TEST_F(PassTest, ARenderPassClearsBindsAndDraws) {
    const auto pass = renderPass(ShaderType::vertexShader, ShaderType::fragmentShader);
    pass->vertexShader()->setShaderResource(texture(1, 2), 3);
    pass->fragmentShader()->setShaderResource(texture(3, 4), 5);
    EXPECT_TRUE(encode(*pass));
    EXPECT_THAT(calls, ElementsAre("makeRenderCommandEncoder(64x32)", "setPipeline()", "setVertexTexture(1x2, 3)",
                                   "setFragmentTexture(3x4, 5)", "setVertexBuffer(128 bytes, 0, 0)",
                                   "draw(4, 4, 0, 8 bytes, 0)", "endEncoding()"));
    EXPECT_EQ(mtlDevice->renderPass.colorAttachment0LoadAction, MTLLoadAction::clear);
    EXPECT_EQ(mtlDevice->renderPass.colorAttachment0StoreAction, MTLStoreAction::store);
    EXPECT_EQ(mtlDevice->renderPass.colorAttachment0ClearColor.alpha, 1);

    EXPECT_TRUE(output->resize(7, 5));
    EXPECT_TRUE(encode(*pass));
    EXPECT_EQ(calls.front(), "makeRenderCommandEncoder(7x5)") << "the output is looked up at each encode";
}

TEST_F(PassTest, ARenderPassSaysWhichShaderFailed) {
    EXPECT_FALSE(encode(*renderPass(ShaderType::vertexShader, ShaderType::computeShader)));
    EXPECT_THAT(log.messages(),
                ElementsAre("Unable to encode render commands. Shader type 'compute shader' is not supported.",
                            "Failed to encode the fragment shader 'f'."));
    EXPECT_THAT(calls, ElementsAre("makeRenderCommandEncoder(64x32)", "setPipeline()", "endEncoding()"));

    EXPECT_FALSE(encode(*renderPass(ShaderType::computeShader, ShaderType::fragmentShader)));
    EXPECT_THAT(log.messages(), testing::Contains("Failed to encode the vertex shader 'v'."));
    EXPECT_EQ(calls.back(), "endEncoding()");
}

TEST_F(PassTest, ARenderPassIsSilentWithoutOutputOrEncoder) {
    const auto pass = renderPass(ShaderType::vertexShader, ShaderType::fragmentShader);
    mtlDevice->refused = {"makeRenderCommandEncoder"};
    EXPECT_FALSE(encode(*pass));
    EXPECT_THAT(calls, ElementsAre("makeRenderCommandEncoder(64x32)"));
    EXPECT_THAT(log.messages(), IsEmpty());
    output->cleanup();
    EXPECT_FALSE(encode(*pass));
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(PassTest, APipelineThatCannotBeBuiltIsReportedOnceAndEncodesNothing) {
    mtlDevice->refused = {"makeRenderPipelineState", "makeComputePipelineState"};
    const auto render = renderPass(ShaderType::vertexShader, ShaderType::fragmentShader);
    const auto compute = ComputePass::create(device, shader("c", ShaderType::computeShader), output);
    EXPECT_THAT(log.messages(), ElementsAre("Failed to create the render pipeline state: refused",
                                            "Failed to create the compute pipeline state: refused"));
    for (Pass* pass : {static_cast<Pass*>(render.get()), static_cast<Pass*>(compute.get())}) {
        EXPECT_FALSE(encode(*pass));
        EXPECT_THAT(calls, IsEmpty());
        EXPECT_THAT(log.messages(), IsEmpty());
    }
    output->cleanup();
    EXPECT_FALSE(encode(*compute));
    EXPECT_THAT(log.messages(), ElementsAre("Failed to encode compute pass: no output texture."));
}

TEST_F(PassTest, AComputePassCoversItsOutputWithWholeGroups) {
    const auto pass = ComputePass::create(device, shader("c", ShaderType::computeShader), output);
    struct Grid {
        std::uint64_t width, threads;
        Int outputWidth, outputHeight;
        const char* dispatch;
    };
    for (const Grid& grid : {Grid{32, 1024, 1920, 1080, "60x34x1, 32x32x1"},
                             Grid{32, 512, 1920, 1080, "60x68x1, 32x16x1"}, Grid{32, 1024, 1, 1, "1x1x1, 32x32x1"},
                             Grid{32, 1024, 64, 64, "2x2x1, 32x32x1"}, Grid{32, 1000, 65, 31, "3x1x1, 32x31x1"}}) {
        ASSERT_TRUE(output->resize(grid.outputWidth, grid.outputHeight));
        test::RecordedPipeline pipeline;
        pipeline.width = grid.width;
        pipeline.threads = grid.threads;
        const auto size = pass->getThreadGroupDispatchSize(pipeline);
        EXPECT_EQ(test::shown(size.threadGroupsPerGrid) + ", " + test::shown(size.threadGroupSize), grid.dispatch);
    }
    output->cleanup();
    const auto size = pass->getThreadGroupDispatchSize(test::RecordedPipeline{});
    EXPECT_EQ(size.threadGroupSize, (MTLSize{1, 1, 1}));
    EXPECT_EQ(size.threadGroupsPerGrid, (MTLSize{1, 1, 1}));
}

class OneGroupPass : public ComputePass {
public:
    OneGroupPass(std::shared_ptr<Device> device, std::shared_ptr<Shader> shader, std::shared_ptr<Texture> output)
        : ComputePass(std::move(device), std::move(shader), std::move(output)) {}
    ThreadGroupDispatchSize getThreadGroupDispatchSize(const MTLComputePipelineState&) const override {
        return {{2, 3, 4}, {1, 1, 1}};
    }
};

TEST_F(PassTest, AComputePassBindsAndDispatches) {
    const auto pass = std::make_shared<OneGroupPass>(device, shader("c", ShaderType::computeShader), output);
    pass->shader()->setShaderResource(texture(5, 5), 1);
    EXPECT_TRUE(encode(*pass));
    EXPECT_THAT(calls, ElementsAre("makeComputeCommandEncoder()", "setPipeline()", "setTexture(5x5, 1)",
                                   "dispatch(1x1x1, 2x3x4)", "endEncoding()"));
    mtlDevice->refused = {"makeComputeCommandEncoder"};
    EXPECT_FALSE(encode(*pass));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(PassTest, AComputePassWithAnotherShaderTypeNamesItsFunctionOnly) {
    const auto pass = ComputePass::create(device, shader("c", ShaderType::vertexShader), output);
    EXPECT_FALSE(encode(*pass));
    EXPECT_THAT(log.messages(), ElementsAre("Failed to encode the compute shader 'c'."));
    EXPECT_THAT(calls, ElementsAre("makeComputeCommandEncoder()", "setPipeline()", "endEncoding()"));
}

TEST_F(PassTest, TheGeneralPassesHaveNoProperties) {
    const auto pass = renderPass(ShaderType::vertexShader, ShaderType::fragmentShader);
    pass->set("anything", 1);
    EXPECT_FALSE(pass->has("anything"));
    EXPECT_FALSE(pass->get("anything").has_value());
}

TEST_F(PassTest, ABlitEffectHasOnePassOfTheAskedKind) {
    const auto render = BlitEffect::create(device, texture(2, 2), output, PassType::renderPass, bgra);
    const auto compute = BlitEffect::create(device, texture(2, 2), output, PassType::computePass, {});
    EXPECT_NE(render->getPass<BlitRenderPass>("blit"), nullptr);
    EXPECT_EQ(render->getPass<BlitComputePass>("blit"), nullptr);
    EXPECT_NE(compute->getPass<BlitComputePass>("blit"), nullptr);
    EXPECT_EQ(compute->getPass<BlitRenderPass>("blit"), nullptr);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(PassTest, ABlitReplacesOnlyItsInput) {
    const auto other = texture(9, 9);
    const auto render = BlitEffect::create(device, texture(2, 2), output, PassType::renderPass, bgra);
    render->setInputTexture(other);
    EXPECT_EQ(render->inputTexture(), other);
    EXPECT_TRUE(encode(*render->getPass("blit")));
    ASSERT_EQ(calls.size(), 7u);
    EXPECT_THAT(std::vector(calls.begin() + 2, calls.begin() + 4),
                UnorderedElementsAre("setFragmentSamplerState(sampler, 0)", "setFragmentTexture(9x9, 0)"));
    const MTLSamplerDescriptor& sampler = mtlDevice->samplers.back()->descriptor;
    EXPECT_EQ(sampler.minFilter, MTLSamplerMinMagFilter::linear);
    EXPECT_EQ(sampler.magFilter, MTLSamplerMinMagFilter::linear);
    EXPECT_EQ(sampler.sAddressMode, MTLSamplerAddressMode::clampToEdge);
    EXPECT_EQ(sampler.tAddressMode, MTLSamplerAddressMode::clampToEdge);

    const auto compute = BlitEffect::create(device, texture(2, 2), output, PassType::computePass, {});
    compute->setInputTexture(other);
    EXPECT_EQ(compute->inputTexture(), other);
    EXPECT_TRUE(encode(*compute->getPass("blit")));
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_THAT(std::vector(calls.begin() + 2, calls.begin() + 4),
                UnorderedElementsAre("setTexture(9x9, 0)", "setTexture(64x32, 1)"));
}

}  // namespace
}  // namespace ondrix
