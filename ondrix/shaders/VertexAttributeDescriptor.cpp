#include <ondrix/core/Failure.h>
#include <ondrix/shaders/VertexAttributeDescriptor.h>

namespace ondrix {

VertexAttributeDescriptor::VertexAttributeDescriptor(MTLVertexFormat format, Int offset, Int bufferIndex)
    : format_(format), offset_(offset), bufferIndex_(bufferIndex) {}

std::shared_ptr<VertexAttributeDescriptor> VertexAttributeDescriptor::create(MTLVertexFormat format, Int offset,
                                                                             Int bufferIndex) {
    return Failure::orAbsent([&] {
        return std::shared_ptr<VertexAttributeDescriptor>(new VertexAttributeDescriptor(format, offset, bufferIndex));
    });
}

MTLVertexFormat VertexAttributeDescriptor::format() const {
    return format_;
}
void VertexAttributeDescriptor::setFormat(MTLVertexFormat format) {
    format_ = format;
}

Int VertexAttributeDescriptor::offset() const {
    return offset_;
}
void VertexAttributeDescriptor::setOffset(Int offset) {
    offset_ = offset;
}

Int VertexAttributeDescriptor::bufferIndex() const {
    return bufferIndex_;
}
void VertexAttributeDescriptor::setBufferIndex(Int bufferIndex) {
    bufferIndex_ = bufferIndex;
}

}  // namespace ondrix
