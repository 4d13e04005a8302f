#pragma once

#include <cstdint>
#include <memory>

#include <ondrix/platform/metal/MTLBuffer.h>
#include <ondrix/platform/metal/MTLPipelineState.h>
#include <ondrix/platform/metal/MTLSampler.h>
#include <ondrix/platform/metal/MTLTexture.h>
#include <ondrix/platform/metal/MTLTypes.h>

namespace ondrix {

/// One colour target of a render pass.
struct MTLRenderPassDescriptor {
    std::shared_ptr<MTLTexture> colorAttachment0Texture;
    MTLLoadAction colorAttachment0LoadAction = MTLLoadAction::dontCare;
    MTLStoreAction colorAttachment0StoreAction = MTLStoreAction::store;
    MTLClearColor colorAttachment0ClearColor;
};

/// Records draws into one render pass. `index` is a slot: 0 to 30 for textures and buffers, 0 to 15 for samplers; a
/// null object clears its slot. `offset` and `length` are bytes; an offset is at most the buffer's length. What is
/// bound is held until the command buffer is done; `set...Bytes` copies at once. Not thread-safe. Recording never
/// fails: what can't run ends the command buffer with status `error`. Calls after `endEncoding` are ignored.
class MTLRenderCommandEncoder {
public:
    virtual ~MTLRenderCommandEncoder() = default;

    virtual void setRenderPipelineState(std::shared_ptr<MTLRenderPipelineState> pipelineState) = 0;
    virtual void setVertexBuffer(std::shared_ptr<MTLBuffer> buffer, std::int64_t offset, std::int64_t index) = 0;
    virtual void setVertexBytes(const void* bytes, std::int64_t length, std::int64_t index) = 0;
    virtual void setVertexTexture(std::shared_ptr<MTLTexture> texture, std::int64_t index) = 0;
    virtual void setVertexSamplerState(std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) = 0;
    virtual void setFragmentBuffer(std::shared_ptr<MTLBuffer> buffer, std::int64_t offset, std::int64_t index) = 0;
    virtual void setFragmentBytes(const void* bytes, std::int64_t length, std::int64_t index) = 0;
    virtual void setFragmentTexture(std::shared_ptr<MTLTexture> texture, std::int64_t index) = 0;
    virtual void setFragmentSamplerState(std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) = 0;
    /// Draws one instance. `indexBufferOffset` is in bytes.
    virtual void drawIndexedPrimitives(MTLPrimitiveType type, std::int64_t indexCount, MTLIndexType indexType,
                                       std::shared_ptr<MTLBuffer> indexBuffer, std::int64_t indexBufferOffset) = 0;
    virtual void endEncoding() = 0;
};

/// Records dispatches, which run one after another. The rules of `MTLRenderCommandEncoder` hold here too.
class MTLComputeCommandEncoder {
public:
    virtual ~MTLComputeCommandEncoder() = default;

    virtual void setComputePipelineState(std::shared_ptr<MTLComputePipelineState> pipelineState) = 0;
    virtual void setBuffer(std::shared_ptr<MTLBuffer> buffer, std::int64_t offset, std::int64_t index) = 0;
    virtual void setBytes(const void* bytes, std::int64_t length, std::int64_t index) = 0;
    virtual void setTexture(std::shared_ptr<MTLTexture> texture, std::int64_t index) = 0;
    virtual void setSamplerState(std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) = 0;
    /// Runs groups x threads positions in each dimension; positions outside a texture that is written are left out.
    virtual void dispatchThreadgroups(MTLSize threadgroupsPerGrid, MTLSize threadsPerThreadgroup) = 0;
    virtual void endEncoding() = 0;
};

}  // namespace ondrix
