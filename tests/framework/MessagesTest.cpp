#include <cstdint>

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
