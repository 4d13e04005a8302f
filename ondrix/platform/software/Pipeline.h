#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/metal/MTLPipelineState.h>
#include <ondrix/platform/software/Library.h>
#include <ondrix/platform/software/ProblemLog.h>

namespace ondrix::software {

/// A compute function, checked to be one.
class ComputePipeline final : public MTLComputePipelineState {
public:
    /// Null with a reason unless `function` is a compute function of this kind of device.
    static std::shared_ptr<ComputePipeline> create(const std::shared_ptr<MTLFunction>& function, NSError* error);

    [[nodiscard]] std::uint64_t threadExecutionWidth() const override { return 32; }
    [[nodiscard]] std::uint64_t maxTotalThreadsPerThreadgroup() const override { return 1024; }
    [[nodiscard]] const Function& function() const noexcept { return *function_; }
    [[nodiscard]] const shading::Entry& entry() const noexcept { return function_->entry(); }
    [[nodiscard]] ProblemLog& problems() const noexcept { return problems_; }

private:
    explicit ComputePipeline(std::shared_ptr<Function> function) : function_(std::move(function)) {}

    std::shared_ptr<Function> function_;
    mutable ProblemLog problems_;
};

/// A vertex and a fragment function that fit together, and how the vertex buffers are read.
class RenderPipeline final : public MTLRenderPipelineState {
public:
    /// Where a vertex attribute lies; `components` is 0 for attributes that the vertex function doesn't read.
    struct Attribute {
        std::uint32_t components = 0;
        std::uint64_t bufferIndex = 0;
        std::uint64_t offset = 0;  ///< bytes
        std::uint64_t stride = 0;  ///< bytes; 0 when all vertices read the same value
    };
    using Attributes = std::array<Attribute, shading::maximumVertexInputs>;

    /// Null with a reason for: a missing function or one of the wrong kind, an unknown pixel format, a vertex input
    /// without attribute, layout or known format, or varyings that the vertex function doesn't provide.
    static std::shared_ptr<RenderPipeline> create(const MTLRenderPipelineDescriptor& descriptor, NSError* error);

    [[nodiscard]] const Function& vertexFunction() const noexcept { return *vertex_; }
    [[nodiscard]] const Function& fragmentFunction() const noexcept { return *fragment_; }
    [[nodiscard]] const shading::Entry& vertex() const noexcept { return vertex_->entry(); }
    [[nodiscard]] const shading::Entry& fragment() const noexcept { return fragment_->entry(); }
    [[nodiscard]] MTLPixelFormat pixelFormat() const noexcept { return pixelFormat_; }
    [[nodiscard]] const Attributes& attributes() const noexcept { return attributes_; }
    /// A bit for each buffer slot that the vertex descriptor names, read or not.
    [[nodiscard]] std::uint32_t meshBuffers() const noexcept { return meshBuffers_; }
    /// Floats that the vertex function hands on after the position, and how many of them the fragment function reads.
    [[nodiscard]] int vertexComponents() const noexcept { return vertexComponents_; }
    [[nodiscard]] int fragmentComponents() const noexcept { return fragmentComponents_; }
    [[nodiscard]] ProblemLog& problems() const noexcept { return problems_; }

private:
    RenderPipeline() = default;

    std::shared_ptr<Function> vertex_, fragment_;
    MTLPixelFormat pixelFormat_ = MTLPixelFormat::invalid;
    Attributes attributes_;
    int vertexComponents_ = 0;
    int fragmentComponents_ = 0;
    std::uint32_t meshBuffers_ = 0;
    mutable ProblemLog problems_;
};

}  // namespace ondrix::software
