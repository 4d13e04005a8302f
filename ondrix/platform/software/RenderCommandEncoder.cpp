#include <limits>

#include <ondrix/platform/software/RenderCommandEncoder.h>
#include <ondrix/platform/software/Validation.h>

namespace ondrix::software {

RenderCommandEncoder::RenderCommandEncoder(std::shared_ptr<CommandBuffer> commandBuffer,
                                           const MTLRenderPassDescriptor& descriptor)
    : commandBuffer_(std::move(commandBuffer)) {
    commandBuffer_->record([&] { return beginPass(descriptor); });
}

std::string RenderCommandEncoder::beginPass(const MTLRenderPassDescriptor& descriptor) {
    const char* problem = nullptr;
    const auto* target = dynamic_cast<const Texture*>(descriptor.colorAttachment0Texture.get());
    if (!descriptor.colorAttachment0Texture) {
        problem = "the render pass has no colour attachment";
    } else if (target == nullptr) {
        problem = "the texture of the colour attachment was made by another device";
    } else if (!target->allows(MTLTextureUsage::renderTarget)) {
        problem = "the colour attachment holds a texture without the usage renderTarget";
    }
    if (problem != nullptr) return problem;
    commandBuffer_->hold(descriptor.colorAttachment0Texture);
    pass_ = commandBuffer_->make<RenderPassCommand>();
    pass_->kind = Command::Kind::renderPass;
    pass_->target = target->view();
    pass_->loadAction = descriptor.colorAttachment0LoadAction;
    pass_->clearColor = descriptor.colorAttachment0ClearColor;
    format_ = target->pixelFormat();
    commandBuffer_->append(*pass_);
    return {};
}

void RenderCommandEncoder::setRenderPipelineState(std::shared_ptr<MTLRenderPipelineState> pipelineState) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&]() -> std::string {
        pipeline_ = dynamic_cast<const RenderPipeline*>(pipelineState.get());
        if (pipelineState && pipeline_ == nullptr) {
            return "setRenderPipelineState: the pipeline state was made by another device";
        }
        commandBuffer_->hold(std::move(pipelineState));
        if (pipeline_ == nullptr) return {};
        commandBuffer_->setProblems(pipeline_->problems());
        vertex_.setFunction(&pipeline_->vertex());
        fragment_.setFunction(&pipeline_->fragment());
        return {};
    });
}

void RenderCommandEncoder::setVertexBuffer(std::shared_ptr<MTLBuffer> buffer, std::int64_t offset, std::int64_t index) {
    bindBuffer(vertex_, "setVertexBuffer", std::move(buffer), offset, index);
}

void RenderCommandEncoder::setVertexBytes(const void* bytes, std::int64_t length, std::int64_t index) {
    if (!commandBuffer_) return;
    commandBuffer_->record(
        [&] { return vertex_.setBytes("setVertexBytes", bytes, length, index, commandBuffer_->memory()); });
}

void RenderCommandEncoder::setVertexTexture(std::shared_ptr<MTLTexture> texture, std::int64_t index) {
    bindTexture(vertex_, "setVertexTexture", std::move(texture), index);
}

void RenderCommandEncoder::setVertexSamplerState(std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) {
    bindSampler(vertex_, "setVertexSamplerState", std::move(sampler), index);
}

void RenderCommandEncoder::setFragmentBuffer(std::shared_ptr<MTLBuffer> buffer, std::int64_t offset,
                                             std::int64_t index) {
    bindBuffer(fragment_, "setFragmentBuffer", std::move(buffer), offset, index);
}

void RenderCommandEncoder::setFragmentBytes(const void* bytes, std::int64_t length, std::int64_t index) {
    if (!commandBuffer_) return;
    commandBuffer_->record(
        [&] { return fragment_.setBytes("setFragmentBytes", bytes, length, index, commandBuffer_->memory()); });
}

void RenderCommandEncoder::setFragmentTexture(std::shared_ptr<MTLTexture> texture, std::int64_t index) {
    bindTexture(fragment_, "setFragmentTexture", std::move(texture), index);
}

void RenderCommandEncoder::setFragmentSamplerState(std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) {
    bindSampler(fragment_, "setFragmentSamplerState", std::move(sampler), index);
}

void RenderCommandEncoder::bindBuffer(BindingTable& bindings, const char* operation, std::shared_ptr<MTLBuffer> buffer,
                                      std::int64_t offset, std::int64_t index) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&] {
        std::string problem = bindings.setBuffer(operation, buffer.get(), offset, index);
        commandBuffer_->hold(std::move(buffer));
        return problem;
    });
}

void RenderCommandEncoder::bindTexture(BindingTable& bindings, const char* operation,
                                       std::shared_ptr<MTLTexture> texture, std::int64_t index) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&] {
        std::string problem = bindings.setTexture(operation, texture.get(), index);
        commandBuffer_->hold(std::move(texture));
        return problem;
    });
}

void RenderCommandEncoder::bindSampler(BindingTable& bindings, const char* operation,
                                       std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&] {
        std::string problem = bindings.setSampler(operation, sampler.get(), index);
        commandBuffer_->hold(std::move(sampler));
        return problem;
    });
}

void RenderCommandEncoder::drawIndexedPrimitives(MTLPrimitiveType type, std::int64_t indexCount, MTLIndexType indexType,
                                                 std::shared_ptr<MTLBuffer> indexBuffer,
                                                 std::int64_t indexBufferOffset) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&] {
        auto* draw = commandBuffer_->make<DrawCommand>();
        draw->pipeline = pipeline_;
        draw->primitiveType = type;
        draw->indexType = indexType;
        draw->indexCount = indexCount;
        std::string problem = recordDraw(*draw, indexBuffer.get(), indexBufferOffset);
        commandBuffer_->hold(std::move(indexBuffer));
        return problem;
    });
}

std::string RenderCommandEncoder::recordDraw(DrawCommand& draw, const MTLBuffer* indexBuffer, std::int64_t offset) {
    if (pipeline_ == nullptr) return "drawIndexedPrimitives: no render pipeline state is set";
    if (format_ != pipeline_->pixelFormat()) {
        return std::string(pipeline_->fragment().name) + ": the colour attachment has the format " +
               description(format_) + ", but the pipeline was made for " + description(pipeline_->pixelFormat());
    }
    std::string problem = describeIndices(draw, indexBuffer, offset);
    if (problem.empty()) problem = describeVertices(draw);
    if (problem.empty()) problem = vertex_.resolve(pipeline_->vertex(), commandBuffer_->memory(), draw.vertex);
    if (problem.empty()) problem = fragment_.resolve(pipeline_->fragment(), commandBuffer_->memory(), draw.fragment);
    if (problem.empty()) problem = vertex_.checkReads(pipeline_->vertex(), pass_->target, "the colour attachment");
    if (problem.empty()) problem = fragment_.checkReads(pipeline_->fragment(), pass_->target, "the colour attachment");
    if (problem.empty() && commandBuffer_->validates()) validate(draw);
    if (!problem.empty() || draw.indexCount == 0) return problem;
    for (const shading::Parameter& parameter : parameters(pipeline_->fragment())) {
        if (parameter.kind == shading::ParameterKind::texture) {
            const shading::TextureView& view = fragment_.texture(parameter.slot)->view();
            draw.bytesPerRow += view.bytesPerRow;
            draw.bytes += view.bytesPerRow * view.height;
        }
    }
    (pass_->lastDraw == nullptr ? pass_->firstDraw : pass_->lastDraw->next) = &draw;
    pass_->lastDraw = &draw;
    return {};
}

void RenderCommandEncoder::validate(DrawCommand& draw) {
    draw.vertex.problems = draw.fragment.problems = &pipeline_->problems();
    if (pipeline_->vertexFunction().isChecked()) prepareReport(draw.vertex, commandBuffer_->memory());
    if (pipeline_->fragmentFunction().isChecked()) prepareReport(draw.fragment, commandBuffer_->memory());
    vertex_.tellLargeConstants(pipeline_->vertex(), pipeline_->problems());
    fragment_.tellLargeConstants(pipeline_->fragment(), pipeline_->problems());
}

std::string RenderCommandEncoder::describeIndices(DrawCommand& draw, const MTLBuffer* indexBuffer,
                                                  std::int64_t offset) const {
    using namespace std::string_literals;
    constexpr const char* operation = "drawIndexedPrimitives: ";
    if (draw.primitiveType > MTLPrimitiveType::triangleStrip) return operation + "the primitive type is unknown"s;
    if (draw.indexType > MTLIndexType::uint32) return operation + "the index type is unknown"s;
    const auto* buffer = dynamic_cast<const Buffer*>(indexBuffer);
    if (indexBuffer == nullptr) return operation + "the index buffer is missing"s;
    if (buffer == nullptr) return operation + "the index buffer was made by another device"s;
    const std::uint64_t indexBytes = draw.indexType == MTLIndexType::uint16 ? 2 : 4;
    if (draw.indexCount < 0) return operation + "the number of indices is negative"s;
    if (offset < 0 || static_cast<std::uint64_t>(offset) % indexBytes != 0) {
        return operation + "the index buffer offset "s + std::to_string(offset) + " is not a multiple of " +
               std::to_string(indexBytes);
    }
    const auto start = static_cast<std::uint64_t>(offset);
    const std::uint64_t available = start > buffer->length() ? 0 : (buffer->length() - start) / indexBytes;
    if (static_cast<std::uint64_t>(draw.indexCount) > available) {
        return operation + "the index buffer provides "s + std::to_string(available) + " indices, but " +
               std::to_string(draw.indexCount) + " are drawn";
    }
    draw.indices = draw.indexCount == 0 ? nullptr : buffer->bytes() + start;
    return {};
}

std::string RenderCommandEncoder::describeVertices(DrawCommand& draw) {
    const RenderPipeline::Attributes& attributes = pipeline_->attributes();
    constexpr std::size_t count = std::tuple_size_v<RenderPipeline::Attributes>;
    auto* streams = static_cast<shading::VertexStream*>(
        commandBuffer_->memory().allocate(count * sizeof(shading::VertexStream), alignof(shading::VertexStream)));
    std::uninitialized_value_construct_n(streams, count);
    for (std::size_t index = 0; index < count; ++index) {
        const RenderPipeline::Attribute& attribute = attributes[index];
        if (attribute.components == 0) continue;
        const BindingTable::BufferSlot& buffer = vertex_.buffer(attribute.bufferIndex);
        if (buffer.bytes == nullptr) {
            return std::string(pipeline_->vertex().name) + ": buffer slot " + std::to_string(attribute.bufferIndex) +
                   " is empty, but the function reads vertex attribute " + std::to_string(index) + " there";
        }
        const std::uint64_t bytes = attribute.components * sizeof(float);
        const bool oneFits = buffer.size >= bytes && attribute.offset <= buffer.size - bytes;
        shading::VertexStream& stream = streams[index];
        stream.components = static_cast<std::int32_t>(attribute.components);
        stream.stride = static_cast<std::int64_t>(attribute.stride);
        if (!oneFits) continue;
        stream.bytes = reinterpret_cast<const std::uint8_t*>(buffer.bytes) + attribute.offset;
        stream.readableVertices =
            attribute.stride == 0
                ? std::numeric_limits<std::int64_t>::max()
                : static_cast<std::int64_t>((buffer.size - attribute.offset - bytes) / attribute.stride + 1);
    }
    draw.streams = streams;
    return {};
}

void RenderCommandEncoder::endEncoding() {
    if (!commandBuffer_) return;
    if (commandBuffer_->validates()) {
        commandBuffer_->record([&]() -> std::string {
            if (pipeline_ == nullptr) return {};
            vertex_.tellUnused(pipeline_->meshBuffers(), pipeline_->problems());
            fragment_.tellUnused(0, pipeline_->problems());
            return {};
        });
    }
    commandBuffer_->encoderEnded();
    commandBuffer_.reset();
}

}  // namespace ondrix::software
