#include <array>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

using test::Calls;
using test::RecordingDevice;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::uint32_t constants[] = {1, 2, 3};

std::shared_ptr<ShaderResource> makeResource(Device& device, ShaderResourceType type) {
    switch (type) {
        case ShaderResourceType::sampler:
            return device.makeSampler(MTLSamplerMinMagFilter::nearest, MTLSamplerMinMagFilter::linear,
                                      MTLSamplerAddressMode::repeat, MTLSamplerAddressMode::clampToZero, 4,
                                      MTLSamplerBorderColor::opaqueWhite);
        case ShaderResourceType::texture:
            return device.makeTexture(8, 4, MTLPixelFormat::r8Unorm, MTLTextureUsage::unknown);
        case ShaderResourceType::constantBuffer:
            return device.makeConstantBuffer(constants, sizeof(constants));
        case ShaderResourceType::uniformBuffer:
            break;
    }
    const auto buffer = UniformBuffer::create(device.shared_from_this());
    buffer->updateBufferContent(constants, sizeof(constants));
    return buffer;
}

class ResourceBindingTest : public testing::Test {
protected:
    std::shared_ptr<Shader> shader(ShaderType type) {
        return device->makeDefaultShaderLibrary()->makeShader("function", type);
    }

    test::LogCapture log;
    std::shared_ptr<RecordingDevice> mtlDevice = std::make_shared<RecordingDevice>();
    std::shared_ptr<Device> device = Device::create(mtlDevice);
    Calls calls;
    test::RecordedRenderEncoder renderEncoder{calls};
    test::RecordedComputeEncoder computeEncoder{calls};
};

struct Binding {
    const char* name;
    ShaderResourceType type;
    std::array<const char*, 3> call;  ///< for a vertex, fragment and compute shader, in slot 2
    const char* renderMessage;
    const char* computeMessage;
};

class EveryResource : public ResourceBindingTest, public testing::WithParamInterface<Binding> {};

TEST_P(EveryResource, GoesToTheSlotOfItsShaderTypeOrSaysWhyNot) {
    const Binding& binding = GetParam();
    const auto resource = makeResource(*device, binding.type);
    EXPECT_EQ(resource->resourceType(), binding.type);
    for (const auto type : {ShaderType::vertexShader, ShaderType::fragmentShader, ShaderType::computeShader}) {
        const auto target = shader(type);
        const bool isCompute = type == ShaderType::computeShader;
        const std::string call = binding.call[static_cast<std::size_t>(type)];
        EXPECT_EQ(resource->bind(renderEncoder, *target, 2), !isCompute);
        EXPECT_EQ(resource->bind(computeEncoder, *target, 2), isCompute);
        EXPECT_THAT(calls, ElementsAre(call));
        std::string message = isCompute ? binding.renderMessage : binding.computeMessage;
        message.replace(message.find("%s"), 2, rawValue(type));
        EXPECT_THAT(log.messages(), ElementsAre(message));
        calls.clear();
        log.clear();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Resources, EveryResource,
    testing::Values(Binding{"texture",
                            ShaderResourceType::texture,
                            {"setVertexTexture(8x4, 2)", "setFragmentTexture(8x4, 2)", "setTexture(8x4, 2)"},
                            "Unsupported shader type %s to bind texture with.",
                            "Unsupported shader type %s to bind texutre with."},
                    Binding{"sampler",
                            ShaderResourceType::sampler,
                            {"setVertexSamplerState(sampler, 2)", "setFragmentSamplerState(sampler, 2)",
                             "setSamplerState(sampler, 2)"},
                            "Unsupported shader type %s to bind sampler with.",
                            "Unsupported shader type %s to bind sampler with."},
                    Binding{"constantBuffer",
                            ShaderResourceType::constantBuffer,
                            {"setVertexBuffer(12 bytes, 0, 2)", "setFragmentBuffer(12 bytes, 0, 2)",
                             "setBuffer(12 bytes, 0, 2)"},
                            "Unsupported shader type %s to bind buffer with.",
                            "Unsupported shader type %s to bind buffer with."},
                    Binding{"uniformBuffer",
                            ShaderResourceType::uniformBuffer,
                            {"setVertexBytes(12, 2)", "setFragmentBytes(12, 2)", "setBytes(12, 2)"},
                            "Unsupported shader type %s for UniformBuffer.",
                            "Unsupported shader type %s for UniformBuffer."}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(ResourceBindingTest, ATextureWithoutGPUTextureClearsItsSlot) {
    const auto texture = device->makeTexture(8, 4, MTLPixelFormat::r8Unorm, MTLTextureUsage::unknown);
    texture->cleanup();
    EXPECT_TRUE(texture->bind(renderEncoder, *shader(ShaderType::fragmentShader), 1));
    EXPECT_THAT(calls, ElementsAre("setFragmentTexture(none, 1)"));
}

TEST_F(ResourceBindingTest, AUniformBufferWithoutDataSaysThatFirst) {
    const auto buffer = UniformBuffer::create(device);
    const auto wrongShader = shader(ShaderType::computeShader);
    const auto refusesForLackOfData = [&] {
        log.clear();
        EXPECT_FALSE(buffer->bind(renderEncoder, *wrongShader, 0));
        EXPECT_FALSE(buffer->bind(computeEncoder, *wrongShader, 0));
        EXPECT_THAT(log.messages(), ElementsAre("UniformBuffer: No data to bind.", "UniformBuffer: No data to bind."));
    };
    refusesForLackOfData();
    buffer->updateBufferContent(constants, 0);
    refusesForLackOfData();
    buffer->updateBufferContent(nullptr, 4);
    refusesForLackOfData();
    buffer->updateBufferContent(constants, 4);
    EXPECT_TRUE(buffer->bind(computeEncoder, *wrongShader, 0));
    buffer->cleanup();
    refusesForLackOfData();
}

TEST_F(ResourceBindingTest, ConstantsAreOverwrittenFromTheStartOnly) {
    const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7};
    const auto buffer = device->makeConstantBuffer(bytes, 7);
    const auto& contents = *mtlDevice->buffers.back();
    EXPECT_EQ(contents.at<std::uint32_t>(0), 0x04030201u);
    EXPECT_EQ(contents.at<std::uint8_t>(6), 7);
    const unsigned char others[] = {11, 12, 13, 14, 15};
    buffer->updateBufferContent(others, 5);
    EXPECT_EQ(contents.at<std::uint32_t>(0), 0x0e0d0c0bu);
    EXPECT_EQ(contents.at<std::uint8_t>(4), 15);
    EXPECT_EQ(contents.at<std::uint8_t>(5), 6);
    // From a place that overlaps the buffer, on either side of its start.
    auto* const start = static_cast<unsigned char*>(contents.contents());
    buffer->updateBufferContent(start + 1, 6);
    EXPECT_EQ(contents.at<std::uint32_t>(0), 0x0f0e0d0cu);
    EXPECT_EQ(contents.at<std::uint8_t>(5), 7);
}

TEST_F(ResourceBindingTest, SamplersCarryWhatWasAskedFor) {
    const auto sampler = makeResource(*device, ShaderResourceType::sampler);
    const MTLSamplerDescriptor& descriptor = mtlDevice->samplers.back()->descriptor;
    EXPECT_EQ(descriptor.minFilter, MTLSamplerMinMagFilter::nearest);
    EXPECT_EQ(descriptor.magFilter, MTLSamplerMinMagFilter::linear);
    EXPECT_EQ(descriptor.sAddressMode, MTLSamplerAddressMode::repeat);
    EXPECT_EQ(descriptor.tAddressMode, MTLSamplerAddressMode::clampToZero);
    EXPECT_EQ(descriptor.maxAnisotropy, 4u);
    EXPECT_EQ(descriptor.borderColor, MTLSamplerBorderColor::opaqueWhite);
}

TEST_F(ResourceBindingTest, SlotsAreByKindAndIndex) {
    const auto target = shader(ShaderType::fragmentShader);
    target->setShaderResource(makeResource(*device, ShaderResourceType::texture), 0);
    target->setShaderResource(makeResource(*device, ShaderResourceType::sampler), 0);
    target->setShaderResource(device->makeTexture(2, 2, MTLPixelFormat::r8Unorm, MTLTextureUsage::unknown), 0);
    EXPECT_TRUE(target->encode(renderEncoder));
    EXPECT_THAT(calls, UnorderedElementsAre("setFragmentTexture(2x2, 0)", "setFragmentSamplerState(sampler, 0)"));

    calls.clear();
    target->removeShaderResource(ShaderResourceType::sampler, 0);
    target->removeShaderResource(ShaderResourceType::sampler, 0);
    target->removeShaderResource(ShaderResourceType::texture, 1);
    EXPECT_TRUE(target->encode(renderEncoder));
    EXPECT_THAT(calls, ElementsAre("setFragmentTexture(2x2, 0)"));

    calls.clear();
    target->prepareForRelease();
    EXPECT_TRUE(target->encode(renderEncoder));
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(ResourceBindingTest, AShaderKeepsItsResourcesAndLetsReplacedOnesGo) {
    const auto target = shader(ShaderType::fragmentShader);
    auto first = makeResource(*device, ShaderResourceType::texture);
    const std::weak_ptr<ShaderResource> watched = first;
    target->setShaderResource(std::move(first), 0);
    EXPECT_FALSE(watched.expired());
    target->setShaderResource(makeResource(*device, ShaderResourceType::texture), 0);
    EXPECT_TRUE(watched.expired());
}

TEST_F(ResourceBindingTest, OnlyTheRenderFormReportsAWrongShaderType) {
    EXPECT_FALSE(shader(ShaderType::vertexShader)->encode(computeEncoder));
    EXPECT_THAT(log.messages(), IsEmpty());
    EXPECT_FALSE(shader(ShaderType::computeShader)->encode(renderEncoder));
    EXPECT_THAT(log.messages(),
                ElementsAre("Unable to encode render commands. Shader type 'compute shader' is not supported."));
}

TEST_F(ResourceBindingTest, EncodingStopsAtTheFirstResourceThatRefuses) {
    const auto target = shader(ShaderType::fragmentShader);
    target->setShaderResource(UniformBuffer::create(device), 0);
    target->setShaderResource(UniformBuffer::create(device), 1);
    EXPECT_FALSE(target->encode(renderEncoder));
    EXPECT_THAT(log.messages(), ElementsAre("UniformBuffer: No data to bind."));
}

}  // namespace
}  // namespace ondrix
