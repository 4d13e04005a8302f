#include <memory>
#include <string>
#include <vector>

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

constexpr auto bgra = MTLPixelFormat::bgra8Unorm;

class DeviceTest : public testing::Test {
protected:
    std::shared_ptr<RecordingDevice> mtlDevice = std::make_shared<RecordingDevice>();
    std::shared_ptr<Device> device = Device::create(mtlDevice);
    Calls calls;
    test::RecordedRenderEncoder encoder{calls};
};

TEST_F(DeviceTest, TheQuadMeshHasItsPublishedLayout) {
    mtlDevice->buffers.clear();
    const auto mesh = device->makeQuadMesh();
    EXPECT_NE(mesh, device->makeQuadMesh());
    ASSERT_EQ(mtlDevice->buffers.size(), 4u);
    const auto& vertices = *mtlDevice->buffers[0];
    const auto& indices = *mtlDevice->buffers[1];
    ASSERT_EQ(vertices.length(), 128u);
    ASSERT_EQ(indices.length(), 8u);
    const float expected[4][6] = {{-1, 1, 0, 0, 0, 0}, {-1, -1, 0, 0, 0, 1}, {1, -1, 0, 0, 1, 1}, {1, 1, 0, 0, 1, 0}};
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t j = 0; j < 6; ++j) EXPECT_EQ(vertices.at<float>(32 * i + 4 * j), expected[i][j]) << i << j;
    }
    EXPECT_EQ(indices.at<std::uint64_t>(0), 0x0002'0003'0001'0000u);
    EXPECT_TRUE(mesh->encode(encoder));
    EXPECT_TRUE(mesh->encode(encoder));
    EXPECT_THAT(calls, ElementsAre("setVertexBuffer(128 bytes, 0, 0)", "draw(4, 4, 0, 8 bytes, 0)",
                                   "setVertexBuffer(128 bytes, 0, 0)", "draw(4, 4, 0, 8 bytes, 0)"));
}

class ChangeableDescriptor : public MeshDescriptor {
public:
    ChangeableDescriptor() : MeshDescriptor(MTLPrimitiveType::triangle, 3, 12, 24, 6, MTLIndexType::uint32, 4) {}
    using MeshDescriptor::setIndexCount;
    using MeshDescriptor::setIndexType;
};

TEST_F(DeviceTest, MeshesReadTheirDescriptorAtEachDraw) {
    const std::vector<std::byte> data(36);
    const auto descriptor = std::make_shared<ChangeableDescriptor>();
    descriptor->addVertexAttribute(MTLVertexFormat::float3, 0, 5);
    const auto mesh = Mesh::create(device, descriptor, data.data(), data.data());
    ASSERT_NE(mesh, nullptr);
    EXPECT_TRUE(mesh->encode(encoder));
    descriptor->setIndexCount(3);
    EXPECT_TRUE(mesh->encode(encoder));
    EXPECT_THAT(calls, ElementsAre("setVertexBuffer(36 bytes, 24, 0)", "draw(3, 6, 1, 24 bytes, 4)",
                                   "setVertexBuffer(36 bytes, 24, 0)", "draw(3, 3, 1, 24 bytes, 4)"));
}

TEST_F(DeviceTest, PipelinesTakeAttributesByPositionAndLayoutZeroOnly) {
    const std::vector<std::byte> data(36);
    const auto descriptor = std::make_shared<ChangeableDescriptor>();
    descriptor->addVertexAttribute(MTLVertexFormat::float3, 0, 5);
    descriptor->addVertexAttribute(MTLVertexFormat::float2, 8, 1);
    const auto shaders = device->makeDefaultShaderLibrary()->makeShaders("vertex", "fragment");
    const auto pass = RenderPass::create(device, shaders.vertex, shaders.fragment,
                                         Mesh::create(device, descriptor, data.data(), data.data()),
                                         device->makeTexture(4, 4, bgra, MTLTextureUsage::unknown), bgra);
    const auto& pipeline = mtlDevice->renderPipeline;
    EXPECT_EQ(pipeline.vertexFunction->name(), "vertex");
    EXPECT_EQ(pipeline.fragmentFunction->name(), "fragment");
    EXPECT_EQ(pipeline.colorAttachment0PixelFormat, bgra);
    ASSERT_EQ(pipeline.vertexDescriptor->attributes.size(), 2u);
    ASSERT_EQ(pipeline.vertexDescriptor->layouts.size(), 1u);
    EXPECT_EQ(pipeline.vertexDescriptor->attributes.at(0).bufferIndex, 5u);
    EXPECT_EQ(pipeline.vertexDescriptor->attributes.at(1).format, MTLVertexFormat::float2);
    EXPECT_EQ(pipeline.vertexDescriptor->attributes.at(1).offset, 8u);
    EXPECT_EQ(pipeline.vertexDescriptor->layouts.at(0).stride, 12u);
}

TEST_F(DeviceTest, ADeviceGoesWithTheLastObjectMadeFromIt) {
    const std::weak_ptr<RecordingDevice> watched = mtlDevice;
    auto texture = device->makeTexture(4, 4, bgra, MTLTextureUsage::unknown);
    auto mesh = device->defaultQuadMesh();
    mtlDevice.reset();
    device.reset();
    texture.reset();
    ASSERT_FALSE(watched.expired()) << "the quad mesh holds the device";
    EXPECT_TRUE(mesh->encode(encoder));
    mesh.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(DeviceTest, ALibraryAndItsShadersHoldTheDevice) {
    const std::weak_ptr<Device> watched = device;
    auto shader = device->makeDefaultShaderLibrary()->makeShader("function", ShaderType::computeShader);
    device.reset();
    EXPECT_FALSE(watched.expired());
    shader.reset();
    EXPECT_TRUE(watched.expired());
}

struct SizeObserver : TextureDelegate {
    void texture(Texture& changed, Size2<Int> didChangeSize) override {
        EXPECT_EQ(changed.size(), didChangeSize) << "told before the texture was replaced";
        sizes.push_back(didChangeSize);
        onChange();
    }
    std::vector<Size2<Int>> sizes;
    std::function<void()> onChange = [] {};
};

TEST_F(DeviceTest, ResizingReplacesAndTells) {
    const auto texture = device->makeTexture(64, 64, MTLPixelFormat::rg8Unorm, MTLTextureUsage::shaderWrite);
    const auto observer = std::make_shared<SizeObserver>();
    texture->add(observer);
    texture->add(observer);
    mtlDevice->calls.clear();
    EXPECT_TRUE(texture->resize(64, 64));
    EXPECT_THAT(mtlDevice->calls, IsEmpty());
    EXPECT_THAT(observer->sizes, IsEmpty());

    EXPECT_TRUE(texture->resize(Size2<Int>{128, 32}));
    EXPECT_THAT(mtlDevice->calls, ElementsAre("makeTexture(128, 32)"));
    EXPECT_THAT(observer->sizes, ElementsAre(Size2<Int>{128, 32}));

    const test::LogCapture log;
    EXPECT_TRUE(texture->resize(0, 5));
    EXPECT_THAT(observer->sizes, ElementsAre(Size2<Int>{128, 32}, Size2<Int>{1, 5})) << "tells the size it has";

    mtlDevice->refused = {"makeTexture"};
    EXPECT_FALSE(texture->resize(9, 9));
    EXPECT_EQ(texture->size(), (Size2<Int>{1, 5}));
    mtlDevice->refused.clear();
    texture->prepareForRelease();
    EXPECT_TRUE(texture->resize(9, 9));
    EXPECT_EQ(observer->sizes.size(), 2u);
}

TEST_F(DeviceTest, AnObserverMayDropTheTextureThatTellsIt) {
    auto texture = device->makeTexture(2, 2, bgra, MTLTextureUsage::unknown);
    const auto observer = std::make_shared<SizeObserver>();
    texture->add(observer);
    observer->onChange = [&texture] { texture.reset(); };
    EXPECT_TRUE(texture->resize(3, 3));
    EXPECT_EQ(texture, nullptr);
}

// Supplies another texture than the stored one, as a view does.
class BorrowedTexture : public Texture {
public:
    BorrowedTexture(std::shared_ptr<Device> device, std::shared_ptr<MTLTexture> supplied)
        : Texture(std::move(device), nullptr), supplied_(std::move(supplied)) {}
    bool wasSetThroughAccessor = false;

protected:
    [[nodiscard]] std::shared_ptr<MTLTexture> mtlTexture() const override { return supplied_; }
    void setMtlTexture(std::shared_ptr<MTLTexture>) override { wasSetThroughAccessor = true; }

private:
    std::shared_ptr<MTLTexture> supplied_;
};

TEST_F(DeviceTest, TexturesReadThroughTheirGetterAndStorePastTheirSetter) {
    MTLTextureDescriptor descriptor;
    descriptor.width = 20;
    descriptor.height = 10;
    const auto texture = std::make_shared<BorrowedTexture>(device, std::make_shared<test::RecordedTexture>(descriptor));
    const auto observer = std::make_shared<SizeObserver>();
    texture->add(observer);
    EXPECT_EQ(texture->size(), (Size2<Int>{20, 10}));
    EXPECT_TRUE(texture->resize(5, 5));
    EXPECT_FALSE(texture->wasSetThroughAccessor);
    EXPECT_THAT(observer->sizes, ElementsAre(Size2<Int>{20, 10}));
}

TEST_F(DeviceTest, ShadersOfOneFunctionAreSeparate) {
    const auto library = device->makeDefaultShaderLibrary();
    const auto first = library->makeShader("f", ShaderType::computeShader);
    const auto second = library->makeShader("f", ShaderType::vertexShader);
    first->setShaderResource(UniformBuffer::create(device), 0);
    EXPECT_EQ(second->shaderType(), ShaderType::vertexShader) << "the function's own kind isn't looked at";
    EXPECT_TRUE(second->encode(encoder));
}

}  // namespace
}  // namespace ondrix
