#include <cassert>
#include <cstdint>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/shaders/Mesh.h>

namespace ondrix {

namespace {

Int indexSize(MTLIndexType type) {
    switch (type) {
        case MTLIndexType::uint16:
            return 2;
        case MTLIndexType::uint32:
            return 4;
    }
    Logger::gfx().error("Unsupported index type.");
    return 0;
}

// Null also for a product beyond the range of a length.
std::shared_ptr<MTLBuffer> makeBuffer(MTLDevice& mtlDevice, const void* bytes, Int elementSize, Int count) {
    Int length = 0;
    if (__builtin_mul_overflow(elementSize, count, &length)) return nullptr;
    return mtlDevice.makeBuffer(bytes, length, 0);
}

std::shared_ptr<const MTLVertexDescriptor> makeVertexDescriptor(
    const std::vector<std::shared_ptr<VertexAttributeDescriptor>>& attributes, Int vertexStride) {
    auto vertexDescriptor = std::make_shared<MTLVertexDescriptor>();
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        MTLVertexAttributeDescriptor& attribute = vertexDescriptor->attributes[i];
        attribute.format = attributes[i]->format();
        attribute.offset = static_cast<std::uint64_t>(attributes[i]->offset());
        attribute.bufferIndex = static_cast<std::uint64_t>(attributes[i]->bufferIndex());
    }
    MTLVertexBufferLayoutDescriptor& layout = vertexDescriptor->layouts[0];
    layout.stride = static_cast<std::uint64_t>(vertexStride);
    layout.stepFunction = MTLVertexStepFunction::perVertex;
    return vertexDescriptor;
}

}  // namespace

Mesh::Mesh(std::shared_ptr<Device> device, std::shared_ptr<MeshDescriptor> descriptor)
    : device_(std::move(device)), meshDescriptor_(std::move(descriptor)) {
    assert(device_ != nullptr && meshDescriptor_ != nullptr);
}

std::shared_ptr<Mesh> Mesh::create(std::shared_ptr<Device> device, std::shared_ptr<MeshDescriptor> descriptor,
                                   const void* vertexData, const void* indexData) {
    return Failure::orAbsent([&] {
        const std::shared_ptr<Mesh> mesh(new Mesh(std::move(device), std::move(descriptor)));
        return mesh->start(vertexData, indexData) ? mesh : nullptr;
    });
}

std::shared_ptr<Mesh> Mesh::create(std::shared_ptr<Device> device, std::shared_ptr<MeshDescriptor> descriptor,
                                   const void* vertexData, const void* indexData, NSError* error) {
    return Failure::toldTo(error,
                           [&] { return create(std::move(device), std::move(descriptor), vertexData, indexData); });
}

bool Mesh::start(const void* vertexData, const void* indexData) {
    const MeshDescriptor& descriptor = *meshDescriptor_;
    vertexDescriptor_ = makeVertexDescriptor(descriptor.vertexAttributeDescriptors(), descriptor.vertexStride());
    MTLDevice& mtlDevice = *device_->mtlDevice();
    vertexBuffer_ = makeBuffer(mtlDevice, vertexData, descriptor.vertexStride(), descriptor.vertexCount());
    if (vertexBuffer_ == nullptr) {
        Failure::because("The device makes no buffer for the vertices.");
        return false;
    }
    indexBuffer_ = makeBuffer(mtlDevice, indexData, indexSize(descriptor.indexType()), descriptor.indexCount());
    if (indexBuffer_ == nullptr) Failure::because("The device makes no buffer for the indices.");
    return indexBuffer_ != nullptr;
}

void Mesh::prepareForRelease() {}

void Mesh::cleanup() {}

bool Mesh::encode(MTLRenderCommandEncoder& encoder) const {
    const MeshDescriptor& descriptor = *meshDescriptor_;
    encoder.setVertexBuffer(vertexBuffer_, descriptor.vertexBufferOffset(), 0);
    encoder.drawIndexedPrimitives(descriptor.primitiveType(), descriptor.indexCount(), descriptor.indexType(),
                                  indexBuffer_, descriptor.indexBufferOffset());
    return true;
}

}  // namespace ondrix
