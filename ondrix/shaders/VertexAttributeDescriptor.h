#pragma once

#include <memory>

#include <ondrix/platform/metal/MTLVertexDescriptor.h>
#include <ondrix/types/Int.h>

namespace ondrix {

/// One attribute of a mesh's vertices. Each property is read and written by a pair of virtual operations in their
/// order; writing is for subclasses.
class VertexAttributeDescriptor {
public:
    [[nodiscard]] static std::shared_ptr<VertexAttributeDescriptor> create(MTLVertexFormat format, Int offset,
                                                                           Int bufferIndex);
    virtual ~VertexAttributeDescriptor() = default;

    [[nodiscard]] virtual MTLVertexFormat format() const;

protected:
    virtual void setFormat(MTLVertexFormat format);

public:
    [[nodiscard]] virtual Int offset() const;  ///< bytes from the start of a vertex

protected:
    virtual void setOffset(Int offset);

public:
    [[nodiscard]] virtual Int bufferIndex() const;  ///< slot of the vertex buffer

protected:
    virtual void setBufferIndex(Int bufferIndex);

protected:
    VertexAttributeDescriptor(MTLVertexFormat format, Int offset, Int bufferIndex);

private:
    MTLVertexFormat format_;
    Int offset_;
    Int bufferIndex_;
};

}  // namespace ondrix
