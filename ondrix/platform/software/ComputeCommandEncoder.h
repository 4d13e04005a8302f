#pragma once

#include <memory>
#include <string>

#include <ondrix/platform/metal/MTLCommandEncoder.h>
#include <ondrix/platform/software/BindingTable.h>
#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/Pipeline.h>

namespace ondrix::software {

/// Records dispatches into a command buffer, checking each against what its function needs.
class ComputeCommandEncoder final : public MTLComputeCommandEncoder {
public:
    explicit ComputeCommandEncoder(std::shared_ptr<CommandBuffer> commandBuffer)
        : commandBuffer_(std::move(commandBuffer)) {}

    void setComputePipelineState(std::shared_ptr<MTLComputePipelineState> pipelineState) override;
    void setBuffer(std::shared_ptr<MTLBuffer> buffer, std::int64_t offset, std::int64_t index) override;
    void setBytes(const void* bytes, std::int64_t length, std::int64_t index) override;
    void setTexture(std::shared_ptr<MTLTexture> texture, std::int64_t index) override;
    void setSamplerState(std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) override;
    void dispatchThreadgroups(MTLSize threadgroupsPerGrid, MTLSize threadsPerThreadgroup) override;
    void endEncoding() override;

private:
    [[nodiscard]] std::string recordDispatch(MTLSize groups, MTLSize threads);

    std::shared_ptr<CommandBuffer> commandBuffer_;  ///< null after the end
    const ComputePipeline* pipeline_ = nullptr;
    BindingTable bindings_;
};

}  // namespace ondrix::software
