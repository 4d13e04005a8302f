#pragma once

#include <memory>
#include <string>

#include <ondrix/platform/metal/MTLCommandEncoder.h>
#include <ondrix/platform/software/BindingTable.h>
#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/Pipeline.h>

namespace ondrix::software {

/// Records the draws of one render pass into a command buffer, checking each against what its functions need.
class RenderCommandEncoder final : public MTLRenderCommandEncoder {
public:
    RenderCommandEncoder(std::shared_ptr<CommandBuffer> commandBuffer, const MTLRenderPassDescriptor& descriptor);

    void setRenderPipelineState(std::shared_ptr<MTLRenderPipelineState> pipelineState) override;
    void setVertexBuffer(std::shared_ptr<MTLBuffer> buffer, std::int64_t offset, std::int64_t index) override;
    void setVertexBytes(const void* bytes, std::int64_t length, std::int64_t index) override;
    void setVertexTexture(std::shared_ptr<MTLTexture> texture, std::int64_t index) override;
    void setVertexSamplerState(std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) override;
    void setFragmentBuffer(std::shared_ptr<MTLBuffer> buffer, std::int64_t offset, std::int64_t index) override;
    void setFragmentBytes(const void* bytes, std::int64_t length, std::int64_t index) override;
    void setFragmentTexture(std::shared_ptr<MTLTexture> texture, std::int64_t index) override;
    void setFragmentSamplerState(std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) override;
    void drawIndexedPrimitives(MTLPrimitiveType type, std::int64_t indexCount, MTLIndexType indexType,
                               std::shared_ptr<MTLBuffer> indexBuffer, std::int64_t indexBufferOffset) override;
    void endEncoding() override;

private:
    void bindBuffer(BindingTable& bindings, const char* operation, std::shared_ptr<MTLBuffer> buffer,
                    std::int64_t offset, std::int64_t index);
    void bindTexture(BindingTable& bindings, const char* operation, std::shared_ptr<MTLTexture> texture,
                     std::int64_t index);
    void bindSampler(BindingTable& bindings, const char* operation, std::shared_ptr<MTLSamplerState> sampler,
                     std::int64_t index);
    [[nodiscard]] std::string beginPass(const MTLRenderPassDescriptor& descriptor);
    [[nodiscard]] std::string recordDraw(DrawCommand& draw, const MTLBuffer* indexBuffer, std::int64_t offset);
    [[nodiscard]] std::string describeIndices(DrawCommand& draw, const MTLBuffer* indexBuffer,
                                              std::int64_t offset) const;
    [[nodiscard]] std::string describeVertices(DrawCommand& draw);
    void validate(DrawCommand& draw);

    std::shared_ptr<CommandBuffer> commandBuffer_;  ///< null after the end
    RenderPassCommand* pass_ = nullptr;             ///< in the memory of the command buffer
    MTLPixelFormat format_ = MTLPixelFormat::invalid;
    const RenderPipeline* pipeline_ = nullptr;
    BindingTable vertex_, fragment_;
};

}  // namespace ondrix::software
