#pragma once

#include <memory>

#include <ondrix/platform/metal/MTLVertexDescriptor.h>
#include <ondrix/types/Int.h>

namespace ondrix {

/// One attribute of a mesh's vertices.
class VertexAttributeDescriptor {
public:
    [[nodiscard]] static std::shared_ptr<VertexAttributeDescriptor> create(MTLVertexFormat format, Int offset,
                                                                           Int bufferIndex);
    virtual ~VertexAttributeDescriptor() = default;

    [[nodiscard]] virtual MTLVertexFormat format() const;
    [[nodiscard]] virtual Int offset() const;       ///< bytes from the start of a vertex
    [[nodiscard]] virtual Int bufferIndex() const;  ///< slot of the vertex buffer

protected:
    VertexAttributeDescriptor(MTLVertexFormat format, Int offset, Int bufferIndex);

    virtual void setFormat(MTLVertexFormat format);
    virtual void setOffset(Int offset);
    virtual void setBufferIndex(Int bufferIndex);

private:
    MTLVertexFormat format_;
    Int offset_;
    Int bufferIndex_;
};

}  // namespace ondrix
