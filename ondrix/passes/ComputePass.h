#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/core/ThreadGroupDispatchSize.h>
#include <ondrix/passes/Pass.h>
#include <ondrix/resources/Texture.h>
#include <ondrix/shaders/Shader.h>

namespace ondrix {

/// Runs a compute shader with one thread for each pixel of an output texture, in whole thread groups: the function
/// itself must leave out positions beyond the texture. The output is only measured here; the shader writes what its own
/// slots hold. The grid follows the output's size at each encode.
class ComputePass : public Pass {
protected:
    /// Null when the pipeline could not be built.
    [[nodiscard]] virtual std::shared_ptr<MTLComputePipelineState> pipelineState() const;
    virtual void setPipelineState(std::shared_ptr<MTLComputePipelineState> pipelineState);

public:
    /// When the pipeline can't be built, one message with the platform's reason is logged and the pass encodes nothing;
    /// null without memory for it.
    [[nodiscard]] static std::shared_ptr<ComputePass> create(std::shared_ptr<Device> device,
                                                             std::shared_ptr<Shader> computeShader,
                                                             std::shared_ptr<Texture> outputTexture);
    /// Null, with the reason in `error` (may be null), when the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<ComputePass> create(std::shared_ptr<Device> device,
                                                             std::shared_ptr<Shader> computeShader,
                                                             std::shared_ptr<Texture> outputTexture, NSError* error);

    [[nodiscard]] const std::shared_ptr<Device>& device() const noexcept { return device_; }
    [[nodiscard]] const std::shared_ptr<Shader>& shader() const noexcept { return shader_; }
    [[nodiscard]] const std::shared_ptr<Texture>& outputTexture() const noexcept { return outputTexture_; }

    /// The grid over the output's current size; one group of one thread without a GPU texture. A subclass may impose
    /// its own.
    [[nodiscard]] virtual ThreadGroupDispatchSize getThreadGroupDispatchSize(
        const MTLComputePipelineState& pipelineState) const;

    /// False without a message when the pipeline could not be built or the command buffer gives no encoder; false with
    /// a message when the output has no GPU texture or the shader can't be encoded.
    using Pass::encode;
    [[nodiscard]] bool encode(MTLCommandBuffer& commandBuffer) override;

    void sourceResolutionDidChange(Int width, Int height) override;  ///< does nothing
    void outputResolutionDidChange(Int width, Int height) override;  ///< does nothing

protected:
    ComputePass(std::shared_ptr<Device> device, std::shared_ptr<Shader> computeShader,
                std::shared_ptr<Texture> outputTexture);

    /// Whether the pipeline could be built.
    [[nodiscard]] bool hasPipeline() const { return pipelineState() != nullptr; }

private:
    std::shared_ptr<Device> device_;
    std::shared_ptr<Shader> shader_;
    std::shared_ptr<Texture> outputTexture_;
    std::shared_ptr<MTLComputePipelineState> pipelineState_;
};

}  // namespace ondrix
