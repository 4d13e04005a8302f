#pragma once

#include <memory>
#include <vector>

#include <ondrix/platform/metal/MTLTypes.h>
#include <ondrix/shaders/VertexAttributeDescriptor.h>
#include <ondrix/types/Int.h>

namespace ondrix {

/// Describes indexed geometry. A mesh shares its descriptor with whoever made it and reads offsets, counts and types
/// anew each time it is drawn. Built on one thread before use. Each property is read and written by a pair of virtual
/// operations in their order; writing them, and the list of attributes, is for subclasses.
class MeshDescriptor {
public:
    using VertexAttributeDescriptors = std::vector<std::shared_ptr<VertexAttributeDescriptor>>;

    /// Starts without vertex attributes.
    [[nodiscard]] static std::shared_ptr<MeshDescriptor> create(MTLPrimitiveType primitiveType, Int vertexCount,
                                                                Int vertexStride, Int vertexBufferOffset,
                                                                Int indexCount, MTLIndexType indexType,
                                                                Int indexBufferOffset);
    virtual ~MeshDescriptor() = default;

    [[nodiscard]] virtual MTLPrimitiveType primitiveType() const;

protected:
    virtual void setPrimitiveType(MTLPrimitiveType primitiveType);

public:
    [[nodiscard]] virtual Int vertexCount() const;  ///< vertices in the vertex data

protected:
    virtual void setVertexCount(Int vertexCount);

public:
    [[nodiscard]] virtual Int vertexStride() const;  ///< bytes from one vertex to the next

protected:
    virtual void setVertexStride(Int vertexStride);

public:
    [[nodiscard]] virtual Int vertexBufferOffset() const;  ///< bytes before the first vertex that is drawn from

protected:
    virtual void setVertexBufferOffset(Int vertexBufferOffset);

public:
    [[nodiscard]] virtual Int indexCount() const;  ///< indices in the index data, and the number drawn

protected:
    virtual void setIndexCount(Int indexCount);

public:
    [[nodiscard]] virtual MTLIndexType indexType() const;

protected:
    virtual void setIndexType(MTLIndexType indexType);

public:
    [[nodiscard]] virtual Int indexBufferOffset() const;  ///< bytes before the first index that is drawn

protected:
    virtual void setIndexBufferOffset(Int indexBufferOffset);
    [[nodiscard]] virtual const VertexAttributeDescriptors& vertexAttributeDescriptors() const;
    virtual void setVertexAttributeDescriptors(VertexAttributeDescriptors vertexAttributeDescriptors);

public:
    /// Appends an attribute; its position is its attribute index in the vertex function. Nothing is checked here.
    virtual void addVertexAttribute(MTLVertexFormat format, Int offset, Int bufferIndex);

protected:
    MeshDescriptor(MTLPrimitiveType primitiveType, Int vertexCount, Int vertexStride, Int vertexBufferOffset,
                   Int indexCount, MTLIndexType indexType, Int indexBufferOffset);

private:
    friend class Mesh;

    MTLPrimitiveType primitiveType_;
    Int vertexCount_;
    Int vertexStride_;
    Int vertexBufferOffset_;
    Int indexCount_;
    MTLIndexType indexType_;
    Int indexBufferOffset_;
    VertexAttributeDescriptors vertexAttributeDescriptors_;
};

}  // namespace ondrix
