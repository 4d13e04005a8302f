#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/shaders/MeshDescriptor.h>

namespace ondrix {

MeshDescriptor::MeshDescriptor(MTLPrimitiveType primitiveType, Int vertexCount, Int vertexStride,
                               Int vertexBufferOffset, Int indexCount, MTLIndexType indexType, Int indexBufferOffset)
    : primitiveType_(primitiveType),
      vertexCount_(vertexCount),
      vertexStride_(vertexStride),
      vertexBufferOffset_(vertexBufferOffset),
      indexCount_(indexCount),
      indexType_(indexType),
      indexBufferOffset_(indexBufferOffset) {}

std::shared_ptr<MeshDescriptor> MeshDescriptor::create(MTLPrimitiveType primitiveType, Int vertexCount,
                                                       Int vertexStride, Int vertexBufferOffset, Int indexCount,
                                                       MTLIndexType indexType, Int indexBufferOffset) {
    return Failure::orAbsent([&] {
        return std::shared_ptr<MeshDescriptor>(new MeshDescriptor(
            primitiveType, vertexCount, vertexStride, vertexBufferOffset, indexCount, indexType, indexBufferOffset));
    });
}

MTLPrimitiveType MeshDescriptor::primitiveType() const {
    return primitiveType_;
}
void MeshDescriptor::setPrimitiveType(MTLPrimitiveType primitiveType) {
    primitiveType_ = primitiveType;
}

Int MeshDescriptor::vertexCount() const {
    return vertexCount_;
}
void MeshDescriptor::setVertexCount(Int vertexCount) {
    vertexCount_ = vertexCount;
}

Int MeshDescriptor::vertexStride() const {
    return vertexStride_;
}
void MeshDescriptor::setVertexStride(Int vertexStride) {
    vertexStride_ = vertexStride;
}

Int MeshDescriptor::vertexBufferOffset() const {
    return vertexBufferOffset_;
}
void MeshDescriptor::setVertexBufferOffset(Int vertexBufferOffset) {
    vertexBufferOffset_ = vertexBufferOffset;
}

Int MeshDescriptor::indexCount() const {
    return indexCount_;
}
void MeshDescriptor::setIndexCount(Int indexCount) {
    indexCount_ = indexCount;
}

MTLIndexType MeshDescriptor::indexType() const {
    return indexType_;
}
void MeshDescriptor::setIndexType(MTLIndexType indexType) {
    indexType_ = indexType;
}

Int MeshDescriptor::indexBufferOffset() const {
    return indexBufferOffset_;
}
void MeshDescriptor::setIndexBufferOffset(Int indexBufferOffset) {
    indexBufferOffset_ = indexBufferOffset;
}

const MeshDescriptor::VertexAttributeDescriptors& MeshDescriptor::vertexAttributeDescriptors() const {
    return vertexAttributeDescriptors_;
}
void MeshDescriptor::setVertexAttributeDescriptors(VertexAttributeDescriptors vertexAttributeDescriptors) {
    vertexAttributeDescriptors_ = std::move(vertexAttributeDescriptors);
}

void MeshDescriptor::addVertexAttribute(MTLVertexFormat format, Int offset, Int bufferIndex) {
    Failure::wholeOrAbsent(
        [&] { vertexAttributeDescriptors_.push_back(VertexAttributeDescriptor::create(format, offset, bufferIndex)); });
}

}  // namespace ondrix
