#include <cstdlib>
#include <cstring>

#include <tests/support/Frames.h>
#include <tests/support/RecordingTest.h>

namespace ondrix {
namespace {

using test::RecordingDevice;
using testing::ElementsAre;

class DeviceTest : public test::RecordingTest {
protected:
    test::RecordedEncoder encoder{calls};
};

TEST_F(DeviceTest, TheQuadMeshHasItsPublishedLayout) {
    mtlDevice->buffers.clear();
    const auto mesh = device->makeQuadMesh();
    ASSERT_EQ(mtlDevice->buffers.size(), 2u);
    const float* const vertices = static_cast<const float*>(mtlDevice->buffers[0]->contents());
    const float expected[4][6] = {{-1, 1, 0, 0, 0, 0}, {-1, -1, 0, 0, 0, 1}, {1, -1, 0, 0, 1, 1}, {1, 1, 0, 0, 1, 0}};
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t j = 0; j < 6; ++j) EXPECT_EQ(vertices[8 * i + j], expected[i][j]) << i << j;
    }
    constexpr std::uint16_t indices[] = {0, 1, 3, 2};
    EXPECT_EQ(std::memcmp(mtlDevice->buffers[1]->contents(), indices, 8), 0);
    EXPECT_THAT(callsOf([&] { return mesh->encode(encoder); }),
                ElementsAre("setVertexBuffer(128 bytes, 0, 0)", "draw(4, 4, 0, 8 bytes, 0)"));
    EXPECT_NE(mesh, device->makeQuadMesh());
}

struct ChangeableDescriptor : MeshDescriptor {
    ChangeableDescriptor() : MeshDescriptor(MTLPrimitiveType::triangle, 3, 12, 24, 6, MTLIndexType::uint32, 4) {}
    using MeshDescriptor::setIndexBufferOffset, MeshDescriptor::setIndexCount, MeshDescriptor::setIndexType,
        MeshDescriptor::setPrimitiveType, MeshDescriptor::setVertexBufferOffset;
};

TEST_F(DeviceTest, MeshesReadTheirDescriptorAtEachDrawAndPipelinesTakeAttributesByPosition) {
    const std::vector<std::byte> data(36);
    const auto descriptor = std::make_shared<ChangeableDescriptor>();
    descriptor->addVertexAttribute(MTLVertexFormat::float3, 0, 5);
    descriptor->addVertexAttribute(MTLVertexFormat::float2, 8, 1);
    const auto mesh = Mesh::create(device, descriptor, data.data(), data.data());
    ASSERT_NE(mesh, nullptr);
    EXPECT_THAT(callsOf([&] { return mesh->encode(encoder); }),
                ElementsAre("setVertexBuffer(36 bytes, 24, 0)", "draw(3, 6, 1, 24 bytes, 4)"));
    descriptor->setIndexCount(3);
    EXPECT_EQ(callsOf([&] { return mesh->encode(encoder); }).back(), "draw(3, 3, 1, 24 bytes, 4)");
    descriptor->setPrimitiveType(MTLPrimitiveType::triangleStrip);
    descriptor->setVertexBufferOffset(8);
    descriptor->setIndexType(MTLIndexType::uint16);
    descriptor->setIndexBufferOffset(2);
    EXPECT_THAT(callsOf([&] { return mesh->encode(encoder); }),
                ElementsAre("setVertexBuffer(36 bytes, 8, 0)", "draw(4, 3, 0, 24 bytes, 2)"));

    const auto [vertex, fragment] = device->makeDefaultShaderLibrary()->makeShaders("vertex", "fragment");
    const auto pass = RenderPass::create(device, vertex, fragment, mesh, texture(4, 4), bgra);
    const auto& pipeline = mtlDevice->renderPipeline;
    EXPECT_EQ(pipeline.vertexFunction->name() + pipeline.fragmentFunction->name(), "vertexfragment");
    EXPECT_EQ(pipeline.colorAttachment0PixelFormat, bgra);
    EXPECT_EQ(pipeline.vertexDescriptor->attributes.at(0).bufferIndex, 5u);
    EXPECT_EQ(pipeline.vertexDescriptor->attributes.at(1).format, MTLVertexFormat::float2);
    EXPECT_EQ(pipeline.vertexDescriptor->attributes.at(1).offset, 8u);
    EXPECT_EQ(pipeline.vertexDescriptor->layouts.at(0).stride, 12u);
}

TEST_F(DeviceTest, ADeviceGoesWithTheLastObjectMadeFromIt) {
    const std::weak_ptr<RecordingDevice> watched = mtlDevice;
    auto first = texture(4, 4);
    auto mesh = device->defaultQuadMesh();
    auto last = shader("function", ShaderType::computeShader);
    mtlDevice.reset();
    device.reset();
    first.reset();
    ASSERT_FALSE(watched.expired());
    mesh.reset();
    EXPECT_FALSE(watched.expired()) << "the shader's library holds the device";
    last.reset();
    EXPECT_TRUE(watched.expired());
}

TEST_F(DeviceTest, ResizingReplacesAndTells) {
    auto made = mtlDevice->makeTexture(MTLTextureDescriptor::texture2DDescriptor(bgra, 64, 64, false));
    const std::weak_ptr<MTLTexture> before = made;
    auto resized = device->makeTexture(std::move(made));
    const auto observer = std::make_shared<test::SizeListener>();
    observer->onSize = [&](Texture& changed) {
        EXPECT_TRUE(before.expired()) << "the texture before is still there";
        EXPECT_EQ(observer->events.back(),
                  "size " + std::to_string(changed.width()) + "x" + std::to_string(changed.height()))
            << "told before the texture was replaced";
    };
    resized->add(observer);
    resized->add(observer);
    takeCalls();
    EXPECT_TRUE(resized->resize(64, 64));
    EXPECT_TRUE(resized->resize(Size2<Int>{128, 32}));
    EXPECT_THAT(takeCalls(), ElementsAre("makeTexture(128, 32)"));
    EXPECT_TRUE(resized->resize(0, 5));
    EXPECT_THAT(observer->events, ElementsAre("size 128x32", "size 1x5")) << "tells the size it has";

    mtlDevice->refused = {"makeTexture"};
    EXPECT_FALSE(resized->resize(9, 9));
    EXPECT_EQ(resized->size(), (Size2<Int>{1, 5}));
    mtlDevice->refused.clear();
    resized->prepareForRelease();
    EXPECT_TRUE(resized->resize(9, 9));
    EXPECT_EQ(observer->events.size(), 2u) << "forgotten before the release";
    resized->add(observer);
    observer->onSize = [&resized](Texture&) { resized.reset(); };
    EXPECT_TRUE(resized->resize(3, 3)) << "an observer may drop the texture that tells it";
    EXPECT_EQ(resized, nullptr);
}

// Supplies another texture than the stored one, as a view does.
struct BorrowedTexture : Texture {
    BorrowedTexture(std::shared_ptr<Device> device, std::shared_ptr<MTLTexture> texture)
        : Texture(std::move(device), nullptr), supplied(std::move(texture)) {}
    std::shared_ptr<MTLTexture> mtlTexture() const override { return supplied; }
    void setMtlTexture(std::shared_ptr<MTLTexture>) override { wasSetThroughAccessor = true; }

    std::shared_ptr<MTLTexture> supplied;
    bool wasSetThroughAccessor = false;
};

TEST_F(DeviceTest, TexturesReadThroughTheirGetterAndStorePastTheirSetter) {
    const auto descriptor = MTLTextureDescriptor::texture2DDescriptor(bgra, 20, 10, false);
    BorrowedTexture borrowed(device, mtlDevice->makeTexture(descriptor));
    EXPECT_TRUE(borrowed.resize(5, 5));
    EXPECT_FALSE(borrowed.wasSetThroughAccessor);
    EXPECT_EQ(borrowed.size(), (Size2<Int>{20, 10}));
}

// In a new process, since a manager is made once and its device dropped for good.
TEST(DeviceManagerDeathTest, TheDefaultDeviceGoesWithTheLastObjectMadeFromIt) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            DeviceManager& manager = DeviceManager::shared();
            const std::weak_ptr<Device> device = manager.defaultDevice();
            auto texture = device.lock()->makeTexture(2, 2, MTLPixelFormat::r8Unorm, MTLTextureUsage::unknown);
            manager.prepareForRelease();
            manager.cleanup();
            const bool isKeptByTexture = !device.expired() && DeviceManager::shared().defaultDevice() == nullptr;
            texture.reset();
            std::_Exit(isKeptByTexture && device.expired() ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
}

}  // namespace
}  // namespace ondrix
