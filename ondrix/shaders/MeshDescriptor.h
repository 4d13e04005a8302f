#pragma once

#include <memory>
#include <vector>

#include <ondrix/platform/metal/MTLTypes.h>
#include <ondrix/shaders/VertexAttributeDescriptor.h>
#include <ondrix/types/Int.h>

namespace ondrix {

/// Describes indexed geometry. A mesh shares its descriptor with whoever made it and reads offsets, counts and types
/// anew each time it is drawn. Built on one thread before use.
class MeshDescriptor {
public:
    /// Starts without vertex attributes.
    [[nodiscard]] static std::shared_ptr<MeshDescriptor> create(MTLPrimitiveType primitiveType, Int vertexCount,
                                                                Int vertexStride, Int vertexBufferOffset,
                                                                Int indexCount, MTLIndexType indexType,
                                                                Int indexBufferOffset);
    virtual ~MeshDescriptor() = default;

    [[nodiscard]] virtual MTLPrimitiveType primitiveType() const;
    [[nodiscard]] virtual Int vertexCount() const;         ///< vertices in the vertex data
    [[nodiscard]] virtual Int vertexStride() const;        ///< bytes from one vertex to the next
    [[nodiscard]] virtual Int vertexBufferOffset() const;  ///< bytes before the first vertex that is drawn from
    [[nodiscard]] virtual Int indexCount() const;          ///< indices in the index data, and the number drawn
    [[nodiscard]] virtual MTLIndexType indexType() const;
    [[nodiscard]] virtual Int indexBufferOffset() const;  ///< bytes before the first index that is drawn

    /// Appends an attribute; its position is its attribute index in the vertex function. Nothing is checked here.
    virtual void addVertexAttribute(MTLVertexFormat format, Int offset, Int bufferIndex);

protected:
    MeshDescriptor(MTLPrimitiveType primitiveType, Int vertexCount, Int vertexStride, Int vertexBufferOffset,
                   Int indexCount, MTLIndexType indexType, Int indexBufferOffset);

    virtual void setPrimitiveType(MTLPrimitiveType primitiveType);
    virtual void setVertexCount(Int vertexCount);
    virtual void setVertexStride(Int vertexStride);
    virtual void setVertexBufferOffset(Int vertexBufferOffset);
    virtual void setIndexCount(Int indexCount);
    virtual void setIndexType(MTLIndexType indexType);
    virtual void setIndexBufferOffset(Int indexBufferOffset);
    [[nodiscard]] virtual const std::vector<std::shared_ptr<VertexAttributeDescriptor>>& vertexAttributeDescriptors()
        const;

private:
    friend class Mesh;

    MTLPrimitiveType primitiveType_;
    Int vertexCount_;
    Int vertexStride_;
    Int vertexBufferOffset_;
    Int indexCount_;
    MTLIndexType indexType_;
    Int indexBufferOffset_;
    std::vector<std::shared_ptr<VertexAttributeDescriptor>> vertexAttributeDescriptors_;
};

}  // namespace ondrix
