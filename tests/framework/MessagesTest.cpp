#include <tests/support/RecordingTest.h>
#include <tests/support/TemporaryFolder.h>

namespace ondrix {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

const std::uint32_t data[32] = {};

class MessagesTest : public test::RecordingTest {
protected:
    std::shared_ptr<Mesh> mesh(Int indexCount, MTLIndexType indexType) {
        const auto descriptor = MeshDescriptor::create(MTLPrimitiveType::triangle, 4, 16, 0, indexCount, indexType, 0);
        return Mesh::create(device, descriptor, data, data);
    }
    std::shared_ptr<MetalComputeCommandRunner> runner() {
        return MetalComputeCommandRunner::create(mtlDevice, std::make_shared<test::RecordedFunction>("f"));
    }

    test::TemporaryFolder folder;
    const std::string path = folder.path().string();
    std::shared_ptr<NSBundle> bundle = NSBundle::create(folder.path());
};

TEST_F(MessagesTest, OfResources) {
    const Size2<Int> invalidSize{0, -7};
    const auto readOrTarget = MTLTextureUsage::shaderRead | MTLTextureUsage::renderTarget;
    expectErrors({"makeTexture"}, [&] { return device->makeTexture(invalidSize, bgra, readOrTarget); },
                 {"Attempt to create texture with invalid size. (0x-7)",
                  "Failed to create a new 0x-7 texture with pixel format 'MTLPixelFormatBGRA8Unorm (80)' and usages "
                  "'[\"unknown\", \"shaderRead\", \"renderTarget\"]'."});
    expectErrors({"makeTexture"},
                 [&] { return device->makeTexture(1, 1, MTLPixelFormat::invalid, MTLTextureUsage{31}); },
                 {"Failed to create a new 1x1 texture with pixel format '" + description(MTLPixelFormat::invalid) +
                  "' and usages '[\"unknown\", \"shaderRead\", \"shaderWrite\", \"renderTarget\", "
                  "\"pixelFormatView\"]'."});
    const auto empty = texture(2, 2);
    empty->cleanup();
    EXPECT_EQ(empty->size(), Size2<Int>::zero());
    expectErrors({}, [&] { return empty->resize(10, 10); },
                 {"Failed to resize texture. The texture is not initialized yet."});
    expectErrors({"makeSamplerState"}, [&] { return device->makeSampler({}, {}, {}, {}, 1, {}); },
                 {"Failed to create Metal sampler state."});
    expectErrors({"makeBuffer"}, [&] { return device->makeConstantBuffer(data, 64); },
                 {"Failed to make constant buffer of length 64."});
    expectErrors({}, [&] { return device->makeConstantBuffer(data, -1); },
                 {"Failed to make constant buffer of length -1."});
    expectErrors({}, [&] { return device->textureConverter()->makePixelBufferPool(0, 8, kCVPixelFormatType_32BGRA); },
                 {"Failed to create new pixel buffer pool: -6682"});

    EXPECT_EQ(texture(0, 10)->size(), (Size2<Int>{1, 10}));
    EXPECT_THAT(takeMessages(), ElementsAre("Attempt to create texture with invalid size. (0x10)"));
}

TEST_F(MessagesTest, OfPictures) {
    expectErrors({}, [&] { return device->makeTexture(*bundle, "missing", "png", true); },
                 {"Unable to locate the specified resource file: missing.png in the bundle."});
    const auto broken = folder.write("broken.png", "no picture");
    EXPECT_EQ(device->makeTexture(URL(broken), true), nullptr);
    EXPECT_EQ(device->makeTexture(*bundle, "broken", "png", true), nullptr);
    EXPECT_THAT(takeMessages(), ElementsAre(MatchesRegex("Failed to load texture from file:///.*/broken.png: .+"),
                                            MatchesRegex("Failed to load texture broken.png from bundle: .+")));
}

TEST_F(MessagesTest, OfLibrariesAndMeshes) {
    const char codeAddress = 0;
    expectErrors({}, [&] { return device->makeShaderLibrary(AnyClass{&codeAddress}, "missing", "oxlib"); },
                 {"Unable to locate the requested resource by the name 'missing.oxlib'"});
    expectErrors({"makeLibrary"}, [&] { return device->makeShaderLibrary(URL(folder.path())); },
                 {"Failed to create shader library from URL file://" + path + ": refused"});
    expectErrors({"makeDefaultLibrary"}, [&] { return device->makeDefaultShaderLibrary(); },
                 {"Failed to create default shader library."});
    expectErrors({"makeDefaultLibrary"}, [&] { return device->makeDefaultShaderLibrary(*bundle); },
                 {"Failed to create default shader library for bundle."});
    const auto library = device->makeDefaultShaderLibrary();
    expectErrors(
        {"g", "h"}, [&] { return library->makeShaders("g", "h").vertex; },
        {"Failed to load shader function 'g' from library.", "Failed to load shader function 'h' from library."});
    expectErrors({"h"}, [&] { return library->makeShaders("g", "h").fragment; },
                 {"Failed to load shader function 'h' from library."});

    expectErrors({"makeBuffer"}, [&] { return Device::create(mtlDevice); }, {"Failed to create quad mesh."});
    expectErrors({"makeBuffer 8"}, [&] { return device->makeQuadMesh(); }, {"Failed to create quad mesh."});
    expectErrors({}, [&] { return mesh(3, MTLIndexType{2}); }, {"Unsupported index type."});
    expectErrors({}, [&] { return mesh(0, MTLIndexType::uint16); }, {});
    expectErrors({}, [&] { return mesh(Int{1} << 62, MTLIndexType::uint32); }, {});
}

TEST_F(MessagesTest, OfTheCommandRunner) {
    using Runner = MetalComputeCommandRunner;
    expectErrors({"makeComputePipelineState"}, [&] { return runner(); },
                 {"Failed to create compute pipeline state for the MetalComputeCommandRunner."});
    expectErrors({"g"}, [&] { return Runner::create(mtlDevice, mtlDevice->makeDefaultLibrary(), "g"); },
                 {"Failed to create compute shader function 'g'."});
    expectErrors({"makeDefaultLibrary"}, [&] { return Runner::create(mtlDevice, *bundle, "g"); },
                 {"Failed to create default library with the bundle '" + path + "'."});
    expectErrors({"makeBuffer"}, [&] { return runner()->makeConstantBuffer(data, 8, 0); },
                 {"Failed to make constant buffer with data of length 8."});
    expectErrors({"makeBuffer"}, [&] { return runner()->makeConstantBuffer(8, 0); },
                 {"Failed to make constant buffer of length 8."});
    expectErrors({}, [&] { return runner()->updateConstantBuffer(data, 8, -3); },
                 {"Failed to find the constant buffer at index -3."});
    const auto full = runner();
    EXPECT_TRUE(full->makeConstantBuffer(data, 8, 1) && full->updateConstantBuffer(data, 8, 1));
    expectErrors({}, [&] { return full->updateConstantBuffer(data, 9, 1); },
                 {"Failed to update the constant buffer at index 1 with data of length 9."});
    expectErrors({}, [&] { return full->updateConstantBuffer(data, -1, 1); },
                 {"Failed to update the constant buffer at index 1 with data of length -1."});
    for (const char* operation : {"makeCommandQueue", "makeCommandBuffer", "makeComputeCommandEncoder"}) {
        expectErrors({operation}, [&] { return full->run({}, 1, 1, nullptr, true); }, {});
    }
    expectErrors({}, [&] { return full->run({}, 1, -1, nullptr, true); }, {});
}

TEST_F(MessagesTest, EveryOperationTellsACallerWhoAsks) {
    const auto both = texture(4, 4);
    const auto library = device->makeDefaultShaderLibrary();
    const auto shaders = library->makeShaders("v", "f");
    const auto compute = library->makeShader("c", ShaderType::computeShader);
    const auto used = runner();
    const auto converter = device->textureConverter();
    const auto effect = Effect::create(device);
    const auto blitPass = BlitRenderPass::create(device, both, both, bgra);
    effect->add(blitPass, "blit");
    const auto commandBuffer = mtlDevice->makeCommandQueue()->makeCommandBuffer();
    const URL nowhere("/nowhere/at.all");
    const auto meshDescriptor =
        MeshDescriptor::create(MTLPrimitiveType::triangle, 4, 16, 0, 3, MTLIndexType::uint16, 0);
    const char codeAddress = 0;

    struct Case {
        std::string refused;
        std::function<bool(NSError*)> operation;
        std::string reason;  ///< a part of it, the cause where that is never logged
    };
    const auto made = [](const auto& object) { return object != nullptr; };
    const std::string noPool = "Failed to create new pixel buffer pool: -6682";
    const Case cases[] = {
        {"makeBuffer", [&](NSError* e) { return made(Device::create(mtlDevice, e)); },
         "Failed to create quad mesh: The device makes no buffer for the vertices"},
        {"makeBuffer", [&](NSError* e) { return made(device->makeQuadMesh(e)); }, "Failed to create quad mesh"},
        {"", [&](NSError* e) { return made(device->makeShaderLibrary({&codeAddress}, "a", "b", e)); }, "'a.b'"},
        {"makeLibrary", [&](NSError* e) { return made(device->makeShaderLibrary(nowhere, e)); }, "refused"},
        {"makeDefaultLibrary", [&](NSError* e) { return made(device->makeDefaultShaderLibrary(e)); },
         "Failed to create default shader library: refused"},
        {"makeDefaultLibrary", [&](NSError* e) { return made(device->makeDefaultShaderLibrary(*bundle, e)); },
         "Failed to create default shader library for bundle: refused"},
        {"makeDefaultLibrary", [&](NSError* e) { return made(device->makeFrameworkShaderLibrary(e)); }, "refused"},
        {"makeBuffer", [&](NSError* e) { return made(device->makeConstantBuffer(data, 4, e)); }, "length 4"},
        {"makeSamplerState", [&](NSError* e) { return made(device->makeSampler({}, {}, {}, {}, 1, {}, e)); },
         "sampler"},
        {"", [&](NSError* e) { return made(device->makeTexture(nowhere, false, e)); }, "at.all"},
        {"", [&](NSError* e) { return made(device->makeTexture(*bundle, "a", "png", false, e)); }, "a.png"},
        {"makeTexture", [&](NSError* e) { return made(device->makeTexture(2, 2, bgra, {}, e)); }, "2x2"},
        {"makeTexture", [&](NSError* e) { return made(device->makeTexture(Size2(3, 3), bgra, {}, e)); }, "3x3"},
        {"makeTexture", [&](NSError* e) { return both->resize(Size2(3, 3), e); }, "3x3"},
        {"x", [&](NSError* e) { return made(library->makeShader("x", {}, e)); }, "'x' from library"},
        {"x", [&](NSError* e) { return bool(library->makeShaders("y", "x", e)); }, "'x' from library"},
        {"makeBuffer", [&](NSError* e) { return made(Mesh::create(device, meshDescriptor, data, data, e)); },
         "vertices"},
        {"makeRenderPipelineState",
         [&](NSError* e) {
             const auto mesh = device->defaultQuadMesh();
             return made(RenderPass::create(device, shaders.vertex, shaders.fragment, mesh, both, bgra, e));
         },
         "render pipeline state: refused"},
        {"makeComputePipelineState", [&](NSError* e) { return made(ComputePass::create(device, compute, both, e)); },
         "compute pipeline state: refused"},
        {"makeRenderCommandEncoder", [&](NSError* e) { return blitPass->encode(*commandBuffer, e); },
         "no render encoder"},
        {"makeRenderCommandEncoder", [&](NSError* e) { return effect->encode(*commandBuffer, e); },
         "Failed encoding BlitRenderPass in the effect: The command buffer makes no render encoder"},
        {"makeCommandBuffer", [&](NSError* e) { return effect->apply(nullptr, e); }, "command buffer"},
        {"makeCommandQueue", [&](NSError* e) { return made(Effect::create(device, e)); }, "command queue"},
        {"", [&](NSError* e) { return used->updateConstantBuffer(data, 8, 9, e); }, "at index 9"},
        {"makeCommandQueue", [&](NSError* e) { return used->run({}, 1, 1, nullptr, true, e); }, "no command queue"},
        {"", [&](NSError* e) { return made(converter->makePixelBufferPool(0, 0, kCVPixelFormatType_32BGRA, e)); },
         noPool},
    };
    for (const Case& tried : cases) {
        mtlDevice->refused = {tried.refused};
        log.clear();
        NSError error;
        EXPECT_FALSE(tried.operation(&error)) << tried.reason;
        EXPECT_THAT(error.localizedDescription(), testing::HasSubstr(tried.reason));
        EXPECT_THAT(takeMessages(), testing::IsEmpty()) << tried.reason;
    }
    // What succeeds all the same is logged as ever, and asks for nothing to be read.
    mtlDevice->refused.clear();
    NSError untouched("untouched");
    EXPECT_NE(device->makeTexture(0, 1, bgra, {}, &untouched), nullptr);
    EXPECT_EQ(untouched.localizedDescription(), "untouched");
    EXPECT_THAT(takeMessages(), ElementsAre("Attempt to create texture with invalid size. (0x1)"));
}

TEST_F(MessagesTest, ARunBindsEverythingAndCoversTheOutput) {
    const auto used = runner();
    ASSERT_TRUE(used->makeConstantBuffer(data, 8, 3));
    ASSERT_TRUE(used->makeConstantBuffer(16, 3)) << "replaces the buffer at its index";
    const auto input = mtlDevice->makeTexture(MTLTextureDescriptor::texture2DDescriptor(bgra, 5, 4, false));
    const std::map<Int, std::shared_ptr<MTLSamplerState>> samplers = {{1, mtlDevice->makeSamplerState({})}};
    EXPECT_THAT(callsOf([&] {
                    return used->run({{0, input}}, 1920, 1080, &samplers, false);
                }),
                ElementsAre("makeCommandQueue()", "makeComputeCommandEncoder()", "setPipeline()", "setTexture(5x4, 0)",
                            "setSamplerState(sampler, 1)", "setBuffer(16 bytes, 0, 3)", "dispatch(60x34x1, 32x32x1)",
                            "endEncoding()", "commit()"));
    EXPECT_EQ(callsOf([&] { return used->run({}, 64, 1, nullptr, true); }).back(), "waitUntilCompleted()");
}

}  // namespace
}  // namespace ondrix
