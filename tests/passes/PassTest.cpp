#include <tuple>

#include <tests/support/RecordingTest.h>

namespace ondrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PassTest : public test::RecordingTest {
protected:
    std::shared_ptr<RenderPass> renderPass(ShaderType vertexType = ShaderType::vertexShader,
                                           ShaderType fragmentType = ShaderType::fragmentShader) {
        return RenderPass::create(device, shader("v", vertexType), shader("f", fragmentType), device->makeQuadMesh(),
                                  output, bgra);
    }
    std::shared_ptr<ComputePass> computePass(ShaderType type = ShaderType::computeShader) {
        return ComputePass::create(device, shader("c", type), output);
    }
    /// What a pass does that fails with these messages.
    test::Calls failing(Pass& pass, const std::vector<std::string>& messages,
                        const std::set<std::string>& refused = {}) {
        takeCalls();
        expectErrors(
            refused, [&] { return pass.encode(*commandBuffer); }, messages);
        return takeCalls();
    }

    std::shared_ptr<MTLCommandBuffer> commandBuffer = mtlDevice->makeCommandQueue()->makeCommandBuffer();
    std::shared_ptr<Texture> output = texture(64, 32);
};

TEST_F(PassTest, ARenderPassClearsBindsAndDraws) {
    const auto pass = renderPass();
    pass->vertexShader()->setShaderResource(texture(1, 2), 3);
    pass->fragmentShader()->setShaderResource(texture(3, 4), 5);
    pass->set("anything", 1);
    EXPECT_FALSE(pass->has("anything") || pass->get("anything").has_value());
    EXPECT_THAT(callsOf([&] { return pass->encode(*commandBuffer); }),
                ElementsAre("makeRenderCommandEncoder(64x32)", "setPipeline()", "setVertexTexture(1x2, 3)",
                            "setFragmentTexture(3x4, 5)", "setVertexBuffer(128 bytes, 0, 0)",
                            "draw(4, 4, 0, 8 bytes, 0)", "endEncoding()"));
    EXPECT_EQ(mtlDevice->renderPass.colorAttachment0LoadAction, MTLLoadAction::clear);
    EXPECT_EQ(mtlDevice->renderPass.colorAttachment0StoreAction, MTLStoreAction::store);
    EXPECT_EQ(mtlDevice->renderPass.colorAttachment0ClearColor.alpha, 1);

    EXPECT_TRUE(output->resize(7, 5));
    EXPECT_THAT(failing(*pass, {}, {"makeRenderCommandEncoder"}), ElementsAre("makeRenderCommandEncoder(7x5)"));
    output->cleanup();
    EXPECT_THAT(failing(*pass, {}), IsEmpty());
}

TEST_F(PassTest, APassSaysWhichShaderFailedAndEndsItsEncoder) {
    const auto fragment = renderPass(ShaderType::vertexShader, ShaderType::computeShader);
    const std::string unsupported = "Unable to encode render commands. Shader type 'compute shader' is not supported.";
    EXPECT_THAT(failing(*fragment, {unsupported, "Failed to encode the fragment shader 'f'."}),
                ElementsAre("makeRenderCommandEncoder(64x32)", "setPipeline()", "endEncoding()"));
    const auto vertex = renderPass(ShaderType::computeShader);
    EXPECT_EQ(failing(*vertex, {unsupported, "Failed to encode the vertex shader 'v'."}).back(), "endEncoding()");
    const auto compute = computePass(ShaderType::vertexShader);
    EXPECT_THAT(failing(*compute, {"Failed to encode the compute shader 'c'."}),
                ElementsAre("makeComputeCommandEncoder()", "setPipeline()", "endEncoding()"));
}

TEST_F(PassTest, APipelineThatCannotBeBuiltIsReportedOnceAndEncodesNothing) {
    mtlDevice->refused = {"makeRenderPipelineState", "makeComputePipelineState"};
    const auto render = renderPass();
    const auto compute = computePass();
    EXPECT_THAT(takeMessages(), ElementsAre("Failed to create the render pipeline state: refused",
                                            "Failed to create the compute pipeline state: refused"));
    EXPECT_THAT(failing(*render, {}), IsEmpty());
    EXPECT_THAT(failing(*compute, {}), IsEmpty());
    output->cleanup();
    EXPECT_THAT(failing(*compute, {"Failed to encode compute pass: no output texture."}), IsEmpty());
}

TEST_F(PassTest, AComputePassBindsAndCoversItsOutputWithWholeGroups) {
    const auto pass = computePass();
    pass->shader()->setShaderResource(texture(5, 5), 1);
    EXPECT_THAT(callsOf([&] { return pass->encode(*commandBuffer); }),
                ElementsAre("makeComputeCommandEncoder()", "setPipeline()", "setTexture(5x5, 1)",
                            "dispatch(2x1x1, 32x32x1)", "endEncoding()"));
    EXPECT_THAT(failing(*pass, {}, {"makeComputeCommandEncoder"}), ElementsAre("makeComputeCommandEncoder()"));

    test::RecordedPipeline pipeline;
    const auto dispatch = [&] {
        const auto size = pass->getThreadGroupDispatchSize(pipeline);
        return test::shown(size.threadGroupsPerGrid) + ", " + test::shown(size.threadGroupSize);
    };
    for (const auto& [threads, width, height, expected] :
         {std::tuple<std::uint64_t, Int, Int, const char*>{1024, 1920, 1080, "60x34x1, 32x32x1"},
          {512, 1920, 1080, "60x68x1, 32x16x1"},
          {1024, 64, 64, "2x2x1, 32x32x1"},
          {1000, 65, 31, "3x1x1, 32x31x1"}}) {
        pipeline.threads = threads;
        ASSERT_TRUE(output->resize(width, height));
        EXPECT_EQ(dispatch(), expected);
    }
    output->cleanup();
    EXPECT_EQ(dispatch(), "1x1x1, 1x1x1");
}

class FatalStopDeathTest : public test::RecordingTest {
protected:
    /// What is refused and what the process then says last, in the order in which an effect asks for its parts.
    using Parts = std::vector<std::pair<std::string, std::string>>;

    /// Expects that of several missing parts the first one is named.
    void expectStops(const Parts& parts, const std::function<std::shared_ptr<Effect>()>& makeEffect,
                     const std::function<std::shared_ptr<Effect>(NSError*)>& makeEffectOrFail) {
        for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
            mtlDevice->refused.insert(part->first);
            EXPECT_DEATH((os::setLogSink({}), makeEffect()), part->second + "\\.") << part->first;
            NSError error;
            EXPECT_EQ(makeEffectOrFail(&error), nullptr);
            const std::string last = part->second.substr(part->second.rfind(".*") + 1);
            EXPECT_THAT(error.localizedDescription(), testing::StartsWith(last.substr(last.find('F'))));
        }
        EXPECT_THAT(takeMessages(), IsEmpty());
        mtlDevice->refused = {"makeRenderPipelineState", "makeComputePipelineState"};
        NSError error;
        EXPECT_EQ(makeEffectOrFail(&error), nullptr);
        EXPECT_THAT(error.localizedDescription(), testing::EndsWith("pipeline state: refused"));
    }
    std::shared_ptr<Effect> present(const std::shared_ptr<Device>& with) const {
        return PresentTextureEffect::create(with, both, both, bgra, {}, {}, false);
    }
    std::shared_ptr<Effect> blit(const std::shared_ptr<Device>& with, PassType type) const {
        return BlitEffect::create(with, both, both, type, bgra);
    }
    std::shared_ptr<Effect> blitOrFail(PassType type, NSError* error) const {
        return BlitEffect::create(device, both, both, type, bgra, error);
    }

    const std::shared_ptr<Texture> both = texture(4, 4);
    const std::string noLibrary = "for bundle\\..*Failed to get the shader library from the GFX device";
    const std::string noQueue = "Failed to create the command queue for the effect";
};

TEST_F(FatalStopDeathTest, OfAPresentEffect) {
    const std::string shaders = "Failed to load shaders for PresentTexturePass";
    expectStops(
        {{"makeBuffer", "Failed to create constant buffer for the PresentTexturePass"},
         {"makeSamplerState", "Failed to create sampler state for the PresentTexturePass"},
         {"makeDefaultLibrary", noLibrary},
         {"Ondrix::PresentTexture::VS_Main", "VS_Main' from.*PresentTexture::FS_Main' from.*" + shaders},
         {"Ondrix::PresentTexture::FS_Main", "PresentTexture::FS_Main' from.*" + shaders},
         {"makeCommandQueue", noQueue}},
        [this] { return present(device); },
        [this](NSError* e) { return PresentTextureEffect::create(device, both, both, bgra, {}, {}, false, e); });
}

TEST_F(FatalStopDeathTest, OfABlitEffect) {
    const std::string shaders = "Failed to load shaders for BlitRenderPass";
    expectStops(
        {{"makeSamplerState", "Failed to create sampler state for the BlitRenderPass"},
         {"makeDefaultLibrary", noLibrary},
         {"Ondrix::Blit::VS_Main", "Blit::VS_Main' from.*Blit::FS_Main' from.*" + shaders},
         {"Ondrix::Blit::FS_Main", "Blit::FS_Main' from.*" + shaders},
         {"makeCommandQueue", noQueue}},
        [this] { return blit(device, PassType::renderPass); },
        [this](NSError* e) { return blitOrFail(PassType::renderPass, e); });
    mtlDevice->refused.clear();
    expectStops(
        {{"makeDefaultLibrary", noLibrary},
         {"Ondrix::Blit::CS_Main", "Failed to load compute shader for the blit pass"},
         {"makeCommandQueue", noQueue}},
        [this] { return blit(device, PassType::computePass); },
        [this](NSError* e) { return blitOrFail(PassType::computePass, e); });
}

// Never started, so it has no mesh.
struct MeshlessDevice : Device {
    explicit MeshlessDevice(std::shared_ptr<MTLDevice> mtlDevice) : Device(std::move(mtlDevice)) {}
};

TEST_F(FatalStopDeathTest, TheQuadMeshIsNeededToo) {
    const auto meshless = std::make_shared<MeshlessDevice>(mtlDevice);
    EXPECT_DEATH((void)present(meshless), "Failed to get the quad mesh from the GFX device\\.");
    EXPECT_DEATH((void)blit(meshless, PassType::renderPass), "Failed to get the quad mesh from the GFX device\\.");
    NSError blitError, presentError;
    EXPECT_EQ(BlitRenderPass::create(meshless, both, both, bgra, &blitError), nullptr);
    EXPECT_EQ(PresentTexturePass::create(meshless, both, both, bgra, {}, {}, false, &presentError), nullptr);
    EXPECT_THAT(blitError.localizedDescription(), testing::StartsWith("Failed to get the quad mesh"));
    EXPECT_THAT(presentError.localizedDescription(), testing::StartsWith("Failed to get the quad mesh"));
}

constexpr auto fit = ContentMode::scaleAspectFit;
constexpr auto fill = ContentMode::scaleAspectFill;
constexpr auto stretch = ContentMode::scaleToFill;

class PresentTransformTest : public test::RecordingTest {
protected:
    std::shared_ptr<PresentTextureEffect> present(const std::shared_ptr<Texture>& input,
                                                  const std::shared_ptr<Texture>& output, ContentMode mode) {
        auto effect = PresentTextureEffect::create(device, input, output, bgra, mode, ImageRotation::degrees0, false);
        matrix = static_cast<float*>(mtlDevice->buffers.back()->contents());
        return effect;
    }
    /// Expects scale and nothing else.
    void expectScale(float x, float y, const std::string& situation) const {
        const float expected[16] = {x, 0, 0, 0, 0, y, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(matrix[i], expected[i]) << situation << ": " << i;
    }

    float* matrix = nullptr;  ///< of the last pass made, in its constant buffer
    std::shared_ptr<Texture> wide = texture(1920, 1080), high = texture(1080, 1920);
};

TEST_F(PresentTransformTest, ATextureWithoutGPUTextureCountsAsOnePixelAtFirstAndAsNothingLater) {
    const auto empty = texture(5, 5);
    empty->cleanup();
    const auto effect = present(empty, high, fit);
    expectScale(1, 0.5625f, "made with it");
    for (const ContentMode mode : {fit, fill}) {
        effect->setContentMode(mode);
        EXPECT_TRUE(effect->prepare());
        effect->setInputTexture(wide);
        effect->setInputTexture(empty);
        expectScale(0, 0, "given it");
    }
    effect->setContentMode(stretch);
    EXPECT_TRUE(effect->prepare());
    expectScale(1, 1, "stretched, whatever the sizes");

    effect->setContentMode(fit);
    EXPECT_TRUE(effect->prepare());
    effect->getPass<PresentTexturePass>("present")->texture(*empty, Size2<Int>{-9, 16});
    expectScale(-1, 1, "a width below 1 is used as it is");
}

TEST_F(PresentTransformTest, ThePassFollowsTheTexturesItUsesAndLeavesThemBehind) {
    auto effect = present(wide, high, fit);
    EXPECT_TRUE(high->resize(1920, 1920));
    expectScale(1, 0.5625f, "output resized");
    EXPECT_TRUE(wide->resize(1920, 960));
    expectScale(1, 0.5f, "input resized");
    effect->setInputTexture(texture(10, 10));
    expectScale(1, 1, "input replaced");
    EXPECT_TRUE(wide->resize(7, 900));
    expectScale(1, 1, "former input resized");
    EXPECT_TRUE(high->resize(1920, 960));
    expectScale(0.5f, 1, "output resized again");
    EXPECT_TRUE(effect->apply(nullptr));
    EXPECT_THAT(takeCalls(), testing::Contains("setFragmentTexture(10x10, 0)"));

    const std::weak_ptr<Pass> pass = effect->getPass("present");
    effect.reset();
    EXPECT_TRUE(pass.expired()) << "kept by a texture";
    EXPECT_TRUE(high->resize(100, 100));
    effect = present(high, high, fit);
    EXPECT_TRUE(high->resize(200, 100));
    expectScale(1, 0.5f, "heard as the input only");
}

// Sides compared before the turn, or scaled after it along the other axis.
TEST_F(PresentTransformTest, PlacingComparesTheTurnedSides) {
    const auto effect =
        PlaceTextureEffect::create(device, wide, high, bgra, fit, ImageRotation::degrees90, true, nullptr);
    matrix = static_cast<float*>(mtlDevice->buffers.back()->contents());
    const auto expectTurn = [this](float x) {
        const float expected[] = {0, -1, 0, 0, -x, 0};
        for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(matrix[i], expected[i], 1e-6) << x << ": " << i;
    };
    expectTurn(1);
    EXPECT_TRUE(high->resize(1080, 960));
    expectTurn(0.5f);
    EXPECT_NE(effect->getPass<PlaceTexturePass>("place"), nullptr);
}

// An input that is listened to before the old one is let go of would hear of sizes twice, and in another order.
TEST_F(PresentTransformTest, AnInputIsLetGoOfBeforeTheNextIsListenedTo) {
    struct Input : Texture {
        Input(std::shared_ptr<Device> device, std::vector<std::string>& heard)
            : Texture(std::move(device), nullptr), events(heard) {}
        void add(const std::shared_ptr<TextureDelegate>& delegate) override {
            events.push_back("add");
            Texture::add(delegate);
        }
        void remove(const TextureDelegate& delegate) override {
            events.push_back("remove");
            Texture::remove(delegate);
        }
        std::vector<std::string>& events;
    };
    std::vector<std::string> events;
    const auto pass =
        present(std::make_shared<Input>(device, events), high, fit)->getPass<PresentTexturePass>("present");
    pass->set(std::make_shared<Input>(device, events));
    EXPECT_EQ(events, (std::vector<std::string>{"add", "remove", "add"}));
}
}  // namespace
}  // namespace ondrix
