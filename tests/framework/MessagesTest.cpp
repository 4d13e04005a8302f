#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/RecordingDevice.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

using test::RecordingDevice;

constexpr auto bgra = MTLPixelFormat::bgra8Unorm;
const std::uint32_t data[32] = {};
const char codeAddress = 0;

/// A device that made everything it needs, before it begins to refuse.
struct Fixture {
    std::shared_ptr<RecordingDevice> mtlDevice = std::make_shared<RecordingDevice>();
    std::shared_ptr<Device> device = Device::create(mtlDevice);
    std::shared_ptr<MTLFunction> function = std::make_shared<test::RecordedFunction>("f");
    test::TemporaryFolder folder;
    std::shared_ptr<NSBundle> bundle = NSBundle::create(folder.path());

    std::shared_ptr<Mesh> mesh(Int indexCount, MTLIndexType indexType) {
        const auto descriptor = MeshDescriptor::create(MTLPrimitiveType::triangle, 4, 16, 0, indexCount, indexType, 0);
        return Mesh::create(device, descriptor, data, data);
    }
    std::shared_ptr<MetalComputeCommandRunner> runner() {
        return MetalComputeCommandRunner::create(mtlDevice, function);
    }
};

/// One situation, the messages that it logs and the absent or false result.
struct Situation {
    const char* name;
    std::vector<std::string> refused;  ///< by the platform's device
    std::function<bool(Fixture&)> succeeds;
    std::vector<std::string> messages;  ///< "FOLDER" stands for the fixture's folder
};

void PrintTo(const Situation& situation, std::ostream* stream) {
    *stream << situation.name;
}

class EverySituation : public testing::TestWithParam<Situation> {};

TEST_P(EverySituation, LogsItsMessagesAndYieldsNothing) {
    Fixture fixture;
    for (const auto& operation : GetParam().refused) fixture.mtlDevice->refused.insert(operation);
    const test::LogCapture log;
    EXPECT_FALSE(GetParam().succeeds(fixture));
    std::vector<std::string> expected = GetParam().messages;
    for (std::string& message : expected) {
        const std::size_t found = message.find("FOLDER");
        if (found != std::string::npos) message.replace(found, 6, fixture.folder.path().string());
    }
    EXPECT_EQ(log.messages(), expected);
    for (const auto& entry : log.entries()) EXPECT_EQ(entry.type, os::LogType::error);
}

const std::vector<Situation> situations = {
    {"QuadMeshVerticesRefused",
     {"makeBuffer"},
     [](Fixture& f) { return Device::create(f.mtlDevice) != nullptr; },
     {"Failed to create quad mesh."}},
    {"QuadMeshIndicesRefused",
     {"makeBuffer 8"},
     [](Fixture& f) { return f.device->makeQuadMesh() != nullptr; },
     {"Failed to create quad mesh."}},
    {"TextureRefused",
     {"makeTexture"},
     [](Fixture& f) {
         return f.device->makeTexture(3, 2, bgra, MTLTextureUsage::shaderRead | MTLTextureUsage::renderTarget) !=
                nullptr;
     },
     {"Failed to create a new 3x2 texture with pixel format 'MTLPixelFormatBGRA8Unorm (80)' and usages "
      "'[\"unknown\", \"shaderRead\", \"renderTarget\"]'."}},
    {"TextureOfInvalidSizeRefused",
     {"makeTexture"},
     [](Fixture& f) {
         return f.device->makeTexture(Size2<Int>{0, -7}, bgra, MTLTextureUsage::unknown) != nullptr;
     },
     {"Attempt to create texture with invalid size. (0x-7)",
      "Failed to create a new 0x-7 texture with pixel format 'MTLPixelFormatBGRA8Unorm (80)' and usages "
      "'[\"unknown\"]'."}},
    {"TextureOfEveryUsageRefused",
     {"makeTexture"},
     [](Fixture& f) {
         return f.device->makeTexture(1, 1, MTLPixelFormat::invalid, static_cast<MTLTextureUsage>(31)) != nullptr;
     },
     {"Failed to create a new 1x1 texture with pixel format '" + description(MTLPixelFormat::invalid) +
      "' and usages '[\"unknown\", \"shaderRead\", \"shaderWrite\", \"renderTarget\", \"pixelFormatView\"]'."}},
    {"ResizeWithoutTexture",
     {},
     [](Fixture& f) {
         const auto texture = f.device->makeTexture(2, 2, bgra, MTLTextureUsage::unknown);
         texture->cleanup();
         return texture->width() != 0 || texture->height() != 0 || texture->resize(10, 10);
     },
     {"Failed to resize texture. The texture is not initialized yet."}},
    {"PictureMissingInBundle",
     {},
     [](Fixture& f) { return f.device->makeTexture(*f.bundle, "missing", "png", true) != nullptr; },
     {"Unable to locate the specified resource file: missing.png in the bundle."}},
    {"SamplerRefused",
     {"makeSamplerState"},
     [](Fixture& f) { return f.device->makeSampler({}, {}, {}, {}, 1, {}) != nullptr; },
     {"Failed to create Metal sampler state."}},
    {"ConstantBufferRefused",
     {"makeBuffer"},
     [](Fixture& f) { return f.device->makeConstantBuffer(data, 64) != nullptr; },
     {"Failed to make constant buffer of length 64."}},
    {"ConstantBufferOfNegativeLength",
     {},
     [](Fixture& f) { return f.device->makeConstantBuffer(data, -1) != nullptr; },
     {"Failed to make constant buffer of length -1."}},
    {"LibraryMissingInBundle",
     {},
     [](Fixture& f) { return f.device->makeShaderLibrary(AnyClass{&codeAddress}, "missing", "oxlib") != nullptr; },
     {"Unable to locate the requested resource by the name 'missing.oxlib'"}},
    {"LibraryRefused",
     {"makeLibrary"},
     [](Fixture& f) { return f.device->makeShaderLibrary(URL(f.folder.path())) != nullptr; },
     {"Failed to create shader library from URL file://FOLDER: refused"}},
    {"DefaultLibraryRefused",
     {"makeDefaultLibrary"},
     [](Fixture& f) { return f.device->makeDefaultShaderLibrary() != nullptr; },
     {"Failed to create default shader library."}},
    {"DefaultLibraryOfBundleRefused",
     {"makeDefaultLibrary"},
     [](Fixture& f) { return f.device->makeDefaultShaderLibrary(*f.bundle) != nullptr; },
     {"Failed to create default shader library for bundle."}},
    {"FunctionMissing",
     {"g", "h"},
     [](Fixture& f) {
         const auto [vertex, fragment] = f.device->makeDefaultShaderLibrary()->makeShaders("g", "h");
         return vertex != nullptr || fragment != nullptr;
     },
     {"Failed to load shader function 'g' from library.", "Failed to load shader function 'h' from library."}},
    {"OneFunctionMissing",
     {"h"},
     [](Fixture& f) {
         const auto [vertex, fragment] = f.device->makeDefaultShaderLibrary()->makeShaders("g", "h");
         return vertex == nullptr || fragment != nullptr;
     },
     {"Failed to load shader function 'h' from library."}},
    {"MeshOfUnknownIndexType",
     {},
     [](Fixture& f) { return f.mesh(3, static_cast<MTLIndexType>(2)) != nullptr; },
     {"Unsupported index type."}},
    {"MeshWithoutIndices", {}, [](Fixture& f) { return f.mesh(0, MTLIndexType::uint16) != nullptr; }, {}},
    {"MeshLengthOverflows", {}, [](Fixture& f) { return f.mesh(Int{1} << 62, MTLIndexType::uint32) != nullptr; }, {}},
    {"RunnerPipelineRefused",
     {"makeComputePipelineState"},
     [](Fixture& f) { return f.runner() != nullptr; },
     {"Failed to create compute pipeline state for the MetalComputeCommandRunner."}},
    {"RunnerFunctionMissing",
     {"g"},
     [](Fixture& f) {
         return MetalComputeCommandRunner::create(f.mtlDevice, f.mtlDevice->makeDefaultLibrary(), "g") != nullptr;
     },
     {"Failed to create compute shader function 'g'."}},
    {"RunnerLibraryRefused",
     {"makeDefaultLibrary"},
     [](Fixture& f) { return MetalComputeCommandRunner::create(f.mtlDevice, *f.bundle, "g") != nullptr; },
     {"Failed to create default library with the bundle 'FOLDER'."}},
    {"RunnerBufferWithDataRefused",
     {"makeBuffer"},
     [](Fixture& f) { return f.runner()->makeConstantBuffer(data, 8, 0); },
     {"Failed to make constant buffer with data of length 8."}},
    {"RunnerBufferRefused",
     {"makeBuffer"},
     [](Fixture& f) { return f.runner()->makeConstantBuffer(8, 0); },
     {"Failed to make constant buffer of length 8."}},
    {"RunnerUpdateWithoutBuffer",
     {},
     [](Fixture& f) { return f.runner()->updateConstantBuffer(data, 8, -3); },
     {"Failed to find the constant buffer at index -3."}},
    {"RunnerUpdatePastTheEnd",
     {},
     [](Fixture& f) {
         const auto runner = f.runner();
         return !runner->makeConstantBuffer(data, 8, 1) || !runner->updateConstantBuffer(data, 8, 1) ||
                runner->updateConstantBuffer(data, 9, 1) || runner->updateConstantBuffer(data, -1, 1);
     },
     {"Failed to update the constant buffer at index 1 with data of length 9.",
      "Failed to update the constant buffer at index 1 with data of length -1."}},
    {"RunWithoutQueue", {"makeCommandQueue"}, [](Fixture& f) { return f.runner()->run({}, 1, 1, nullptr, true); }, {}},
    {"RunWithoutCommandBuffer",
     {"makeCommandBuffer"},
     [](Fixture& f) { return f.runner()->run({}, 1, 1, nullptr, true); },
     {}},
    {"RunWithoutEncoder",
     {"makeComputeCommandEncoder"},
     [](Fixture& f) { return f.runner()->run({}, 1, 1, nullptr, true); },
     {}},
    {"RunOverANegativeSide", {}, [](Fixture& f) { return f.runner()->run({}, 1, -1, nullptr, true); }, {}},
    {"PoolOfWidthZero",
     {},
     [](Fixture& f) {
         return f.device->textureConverter()->makePixelBufferPool(0, 8, kCVPixelFormatType_32BGRA) != nullptr;
     },
     {"Failed to create new pixel buffer pool: -6682"}},
};

INSTANTIATE_TEST_SUITE_P(Messages, EverySituation, testing::ValuesIn(situations),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(Messages, APictureThatCannotBeReadIsNamedWithTheReason) {
    Fixture fixture;
    const auto path = fixture.folder.write("broken.png", "no picture");
    const test::LogCapture log;
    EXPECT_EQ(fixture.device->makeTexture(URL(path), true), nullptr);
    EXPECT_EQ(fixture.device->makeTexture(*fixture.bundle, "broken", "png", true), nullptr);
    ASSERT_EQ(log.messages().size(), 2u);
    EXPECT_THAT(log.messages()[0], testing::MatchesRegex("Failed to load texture from file:///.*/broken.png: .+"));
    EXPECT_THAT(log.messages()[1], testing::MatchesRegex("Failed to load texture broken.png from bundle: .+"));
}

TEST(Messages, ASizeBelowOneIsLoggedAndRaised) {
    Fixture fixture;
    const test::LogCapture log;
    const auto texture = fixture.device->makeTexture(0, 10, bgra, MTLTextureUsage::unknown);
    ASSERT_NE(texture, nullptr);
    EXPECT_EQ(texture->size(), (Size2<Int>{1, 10}));
    EXPECT_THAT(log.messages(), testing::ElementsAre("Attempt to create texture with invalid size. (0x10)"));
}

TEST(Messages, ARunBindsEverythingAndCoversTheOutput) {
    Fixture fixture;
    const auto runner = fixture.runner();
    ASSERT_TRUE(runner->makeConstantBuffer(data, 8, 3));
    ASSERT_TRUE(runner->makeConstantBuffer(16, 3)) << "replaces the buffer at its index";
    const auto texture = fixture.mtlDevice->makeTexture(MTLTextureDescriptor::texture2DDescriptor(bgra, 5, 4, false));
    const std::map<Int, std::shared_ptr<MTLSamplerState>> samplers = {
        {1, fixture.mtlDevice->makeSamplerState(MTLSamplerDescriptor{})}};
    auto& calls = fixture.mtlDevice->calls;
    calls.clear();
    EXPECT_TRUE(runner->run({{0, texture}}, 1920, 1080, &samplers, false));
    EXPECT_THAT(calls,
                testing::ElementsAre("makeCommandQueue()", "makeComputeCommandEncoder()", "setPipeline()",
                                     "setTexture(5x4, 0)", "setSamplerState(sampler, 1)", "setBuffer(16 bytes, 0, 3)",
                                     "dispatch(60x34x1, 32x32x1)", "endEncoding()", "commit()"));
    calls.clear();
    EXPECT_TRUE(runner->run({}, 64, 1, nullptr, true));
    EXPECT_THAT(calls, testing::ElementsAre("makeCommandQueue()", "makeComputeCommandEncoder()", "setPipeline()",
                                            "setBuffer(16 bytes, 0, 3)", "dispatch(2x1x1, 32x32x1)", "endEncoding()",
                                            "commit()", "waitUntilCompleted()"));
}

}  // namespace
}  // namespace ondrix
