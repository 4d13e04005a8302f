#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include <ondrix/platform/metal/MTLLibrary.h>
#include <ondrix/platform/metal/MTLPixelFormat.h>
#include <ondrix/platform/metal/MTLVertexDescriptor.h>

namespace ondrix {

/// A request for a render pipeline with one colour attachment, without blending, depth or multisampling.
struct MTLRenderPipelineDescriptor {
    std::shared_ptr<MTLFunction> vertexFunction;
    std::shared_ptr<MTLFunction> fragmentFunction;
    std::shared_ptr<const MTLVertexDescriptor> vertexDescriptor;  ///< null when no vertex input is read
    MTLPixelFormat colorAttachment0PixelFormat = MTLPixelFormat::invalid;
};

/// Immutable; shared by reference; usable by any number of encoders at once.
class MTLRenderPipelineState {
public:
    virtual ~MTLRenderPipelineState() = default;
};

/// Immutable; shared by reference; usable by any number of encoders at once.
class MTLComputePipelineState {
public:
    virtual ~MTLComputePipelineState() = default;

    [[nodiscard]] virtual std::uint64_t threadExecutionWidth() const = 0;           ///< at least 1
    [[nodiscard]] virtual std::uint64_t maxTotalThreadsPerThreadgroup() const = 0;  ///< at least the execution width
};

}  // namespace ondrix
