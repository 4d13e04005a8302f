#include <cassert>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/core/Device.h>
#include <ondrix/core/Logger.h>
#include <ondrix/core/ResourceTracker.h>
#include <ondrix/platform/simd/simd.h>
#include <ondrix/shaders/Mesh.h>

namespace ondrix {

namespace {

// One vertex of the quad, as vertex functions read it.
struct Vertex_PosTexcoord {
    simd_float4 position;  // the fourth lane belongs to the three-float vector's 16 bytes
    simd_float2 texCoords;
    float padding[2] = {0, 0};
};
static_assert(sizeof(Vertex_PosTexcoord) == 32 && offsetof(Vertex_PosTexcoord, texCoords) == 16);

constexpr Vertex_PosTexcoord quadVertices[] = {
    {{-1.0f, 1.0f, 0.0f, 0.0f}, {0.0f, 0.0f}},
    {{-1.0f, -1.0f, 0.0f, 0.0f}, {0.0f, 1.0f}},
    {{1.0f, -1.0f, 0.0f, 0.0f}, {1.0f, 1.0f}},
    {{1.0f, 1.0f, 0.0f, 0.0f}, {1.0f, 0.0f}},
};
constexpr std::uint16_t quadIndices[] = {0, 1, 3, 2};

}  // namespace

Device::Device(std::shared_ptr<MTLDevice> mtlDevice) : mtlDevice_(std::move(mtlDevice)) {
    assert(mtlDevice_ != nullptr);
}

Device::~Device() = default;

std::shared_ptr<Device> Device::create(std::shared_ptr<MTLDevice> mtlDevice) {
    const std::shared_ptr<Device> device(new Device(std::move(mtlDevice)));
    return device->start() ? device : nullptr;
}

bool Device::start() {
    setDefaultQuadMesh(makeQuadMesh());
    if (defaultQuadMesh_ == nullptr) return false;
    setTextureConverter(makeTextureConverter());
    if (textureConverter_ == nullptr) return false;
    complete_ = true;
    return true;
}

std::shared_ptr<Mesh> Device::defaultQuadMesh() const {
    if (defaultQuadMesh_ == nullptr) return nullptr;
    return {shared_from_this(), defaultQuadMesh_.get()};
}

void Device::setDefaultQuadMesh(std::shared_ptr<Mesh> mesh) {
    defaultQuadMesh_ = std::move(mesh);
}

std::shared_ptr<MetalTextureConverter> Device::textureConverter() const {
    return textureConverter_;
}

void Device::setTextureConverter(std::shared_ptr<MetalTextureConverter> converter) {
    textureConverter_ = std::move(converter);
}

std::shared_ptr<ResourceTracker> Device::resourceTracker() const {
    return resourceTracker_;
}

void Device::setResourceTracker(std::shared_ptr<ResourceTracker> tracker) {
    resourceTracker_ = std::move(tracker);
}

void Device::prepareForRelease() {}

void Device::cleanup() {}

void Device::track(const std::shared_ptr<ManagedResource>& resource) {
    if (const auto tracker = resourceTracker()) tracker->track(resource);
}

void Device::untrack(const ManagedResource& resource) {
    if (const auto tracker = resourceTracker()) tracker->untrack(resource);
}

void Device::printTrackedResources() {
    if (const auto tracker = resourceTracker()) tracker->printTrackedResources();
}

std::shared_ptr<Mesh> Device::makeQuadMesh() {
    const auto descriptor = MeshDescriptor::create(MTLPrimitiveType::triangleStrip, 4, sizeof(Vertex_PosTexcoord), 0, 4,
                                                   MTLIndexType::uint16, 0);
    descriptor->addVertexAttribute(MTLVertexFormat::float3, 0, 0);
    descriptor->addVertexAttribute(MTLVertexFormat::float2, offsetof(Vertex_PosTexcoord, texCoords), 0);

    // The mesh that the device makes for itself, while it is being constructed, doesn't own it.
    const std::shared_ptr<Device> self =
        complete_ ? shared_from_this() : std::shared_ptr<Device>(std::shared_ptr<Device>(), this);
    auto mesh = Mesh::create(self, descriptor, quadVertices, quadIndices);
    if (mesh == nullptr) Logger::gfx().error("Failed to create quad mesh.");
    return mesh;
}

std::shared_ptr<MetalTextureConverter> Device::makeTextureConverter() {
    auto converter = MetalTextureConverter::create(mtlDevice_);
    if (converter == nullptr) Logger::gfx().error("Failed to create Metal texture converter.");
    return converter;
}

}  // namespace ondrix
