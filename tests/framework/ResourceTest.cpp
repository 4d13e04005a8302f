#include <tuple>

#include <tests/support/Picture.h>
#include <tests/support/RecordingTest.h>

namespace ondrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::uint32_t constants[] = {1, 2, 3};

class ResourceBindingTest : public test::RecordingTest {
protected:
    std::shared_ptr<Sampler> sampler() {
        return device->makeSampler(MTLSamplerMinMagFilter::nearest, MTLSamplerMinMagFilter::linear,
                                   MTLSamplerAddressMode::repeat, MTLSamplerAddressMode::clampToZero, 4,
                                   MTLSamplerBorderColor::opaqueWhite);
    }

    test::RecordedEncoder encoder{calls};
    MTLRenderCommandEncoder& renderEncoder = encoder;
    MTLComputeCommandEncoder& computeEncoder = encoder;
    std::shared_ptr<Shader> fragment = shader("f", ShaderType::fragmentShader);
    std::shared_ptr<UniformBuffer> uniforms = UniformBuffer::create(device);
};

TEST_F(ResourceBindingTest, AResourceGoesToTheSlotOfItsShaderTypeOrSaysWhyNot) {
    uniforms->updateBufferContent(constants, sizeof(constants));
    struct Binding {
        std::shared_ptr<ShaderResource> resource;
        ShaderResourceType type;
        std::string call, renderReason, computeReason;
    };
    const Binding bindings[] = {
        {texture(8, 4), ShaderResourceType::texture, "Texture(8x4, 2)", "to bind texture with.",
         "to bind texutre with."},
        {sampler(), ShaderResourceType::sampler, "SamplerState(sampler, 2)", "to bind sampler with.",
         "to bind sampler with."},
        {device->makeConstantBuffer(constants, 12), ShaderResourceType::constantBuffer, "Buffer(12 bytes, 0, 2)",
         "to bind buffer with.", "to bind buffer with."},
        {uniforms, ShaderResourceType::uniformBuffer, "Bytes(12, 2)", "for UniformBuffer.", "for UniformBuffer."},
    };
    for (const auto& [resource, resourceType, call, renderReason, computeReason] : bindings) {
        EXPECT_EQ(resource->resourceType(), resourceType);
        for (const auto type : {ShaderType::vertexShader, ShaderType::fragmentShader, ShaderType::computeShader}) {
            const auto target = shader("f", type);
            const bool isCompute = type == ShaderType::computeShader;
            takeCalls();
            EXPECT_EQ(resource->bind(renderEncoder, *target, 2), !isCompute);
            EXPECT_EQ(resource->bind(computeEncoder, *target, 2), isCompute);
            const char* const stage = isCompute ? "" : type == ShaderType::vertexShader ? "Vertex" : "Fragment";
            EXPECT_THAT(takeCalls(), ElementsAre(std::string("set") + stage + call));
            EXPECT_THAT(takeMessages(), ElementsAre("Unsupported shader type " + std::string(rawValue(type)) + " " +
                                                    (isCompute ? renderReason : computeReason)));
        }
    }
}

TEST_F(ResourceBindingTest, AUniformBufferWithoutDataSaysThatFirst) {
    const auto compute = shader("c", ShaderType::computeShader);
    const std::string noData = "UniformBuffer: No data to bind.";
    const auto expectNoData = [&] {
        expectErrors({}, [&] { return uniforms->bind(renderEncoder, *compute, 0); }, {noData});
        expectErrors({}, [&] { return uniforms->bind(computeEncoder, *compute, 0); }, {noData});
    };
    expectNoData();
    uniforms->updateBufferContent(constants, 0);
    expectNoData();
    uniforms->updateBufferContent(nullptr, 4);
    expectNoData();
    uniforms->updateBufferContent(constants, 4);
    EXPECT_TRUE(uniforms->bind(computeEncoder, *compute, 0));
    uniforms->cleanup();
    expectNoData();
}

TEST_F(ResourceBindingTest, ConstantsAreOverwrittenFromTheStartOnly) {
    const auto buffer = device->makeConstantBuffer("abcdefg", 7);
    auto* const contents = static_cast<char*>(mtlDevice->buffers.back()->contents());
    EXPECT_EQ(std::string(contents, 7), "abcdefg");
    buffer->updateBufferContent("ABCDE", 5);
    EXPECT_EQ(std::string(contents, 7), "ABCDEfg");
    buffer->updateBufferContent(contents + 1, 6);
    EXPECT_EQ(std::string(contents, 7), "BCDEfgg") << "from a place that overlaps the buffer";
}

TEST_F(ResourceBindingTest, SlotsAreByKindAndIndexAndLetReplacedResourcesGo) {
    const auto encode = [this] { return fragment->encode(renderEncoder); };
    auto replaced = texture(1, 1);
    const std::weak_ptr<Texture> watched = replaced;
    fragment->setShaderResource(std::move(replaced), 0);
    EXPECT_FALSE(watched.expired());
    fragment->setShaderResource(texture(2, 2), 0);
    EXPECT_TRUE(watched.expired());
    const auto empty = texture(3, 3);
    empty->cleanup();
    fragment->setShaderResource(empty, 1);
    fragment->setShaderResource(sampler(), 0);
    EXPECT_THAT(callsOf(encode), UnorderedElementsAre("setFragmentTexture(2x2, 0)", "setFragmentTexture(none, 1)",
                                                      "setFragmentSamplerState(sampler, 0)"));
    const auto other = shader("f", ShaderType::fragmentShader);
    EXPECT_THAT(callsOf([&] { return other->encode(renderEncoder); }), IsEmpty()) << "of the same function";

    for (int i = 0; i < 2; ++i) fragment->removeShaderResource(ShaderResourceType::sampler, 0);
    fragment->removeShaderResource(ShaderResourceType::texture, 1);
    EXPECT_THAT(callsOf(encode), ElementsAre("setFragmentTexture(2x2, 0)"));
    fragment->prepareForRelease();
    EXPECT_THAT(callsOf(encode), IsEmpty());
    EXPECT_THAT(takeMessages(), IsEmpty());
}

/// Sets further resources on the shader that it is being bound for.
struct GrowingResource : ShaderResource {
    GrowingResource(Shader& s, std::shared_ptr<Texture> t) : shader(s), added(std::move(t)) {}
    ShaderResourceType resourceType() const override { return ShaderResourceType::texture; }
    bool bind(MTLRenderCommandEncoder&, const Shader&, Int) override {
        for (Int index = 1; index < 100; ++index) shader.setShaderResource(added, index);
        return true;
    }
    bool bind(MTLComputeCommandEncoder&, const Shader&, Int) override { return false; }

    Shader& shader;
    std::shared_ptr<Texture> added;
};

TEST_F(ResourceBindingTest, AResourceMayChangeTheShaderThatItIsBoundFor) {
    fragment->setShaderResource(std::make_shared<GrowingResource>(*fragment, texture(2, 2)), 0);
    EXPECT_THAT(callsOf([&] { return fragment->encode(renderEncoder); }), IsEmpty());
    EXPECT_EQ(callsOf([&] { return fragment->encode(renderEncoder); }).size(), 99u);
    fragment->clearShaderResources();
}

TEST_F(ResourceBindingTest, EncodingStopsAtAWrongShaderTypeOrTheFirstResourceThatRefuses) {
    expectErrors({}, [&] { return shader("v", ShaderType::vertexShader)->encode(computeEncoder); }, {});
    expectErrors({}, [&] { return shader("c", ShaderType::computeShader)->encode(renderEncoder); },
                 {"Unable to encode render commands. Shader type 'compute shader' is not supported."});
    fragment->setShaderResource(uniforms, 0);
    fragment->setShaderResource(UniformBuffer::create(device), 1);
    expectErrors({}, [&] { return fragment->encode(renderEncoder); }, {"UniformBuffer: No data to bind."});
}

TEST(PixelsTest, WhatWasCommittedBeforeIsDone) {
    const auto device = DeviceManager::shared().defaultDevice();
    constexpr auto format = MTLPixelFormat::bgra8Unorm;
    const auto input = device->makeTexture(Size2(700, 500), format, MTLTextureUsage::shaderRead);
    const auto output = device->makeTexture(Size2(700, 500), format, MTLTextureUsage::shaderWrite);
    const auto blit = BlitEffect::create(device, input, output, PassType::computePass, format);
    const auto bytes = test::Picture::noise(700, 500, 1).bytes;
    for (int round = 0; round < 20; ++round) {
        const std::vector<std::byte> even(bytes.size(), static_cast<std::byte>(round));
        ASSERT_TRUE(writePixels(*input, even.data(), 4 * 700, nullptr));
        ASSERT_TRUE(blit->apply(nullptr));
        ASSERT_TRUE(writePixels(*input, bytes.data(), 4 * 700, nullptr)) << "not seen by the work before";
        EXPECT_EQ(readPixels(*output, nullptr)->bytes, even);
    }
}

class PixelsFailureTest : public test::RecordingTest {};

TEST_F(PixelsFailureTest, TheCallerHearsWhyAndTheLogNothing) {
    const auto used = texture(4, 2);
    const std::byte bytes[32] = {};
    NSError error;
    EXPECT_FALSE(writePixels(*used, bytes, 15, &error));
    EXPECT_EQ(error.localizedDescription(), "rows of 15 bytes are too short for a texture with rows of 16");
    for (const char* refused : {"makeCommandQueue", "makeCommandBuffer"}) {
        mtlDevice->refused = {refused};
        EXPECT_FALSE(writePixels(*used, bytes, 16, &error));
        EXPECT_FALSE(readPixels(*used, nullptr));
        EXPECT_EQ(error.localizedDescription(), "the device makes no command buffer to wait for");
    }
    used->cleanup();
    EXPECT_FALSE(readPixels(*used, &error));
    EXPECT_EQ(error.localizedDescription(), "the texture has no image");
    EXPECT_FALSE(writePixels(*used, bytes, 16, nullptr));
    EXPECT_THAT(takeMessages(), testing::IsEmpty());
}

}  // namespace
}  // namespace ondrix
