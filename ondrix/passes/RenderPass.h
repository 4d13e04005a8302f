#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/passes/Pass.h>
#include <ondrix/resources/Texture.h>
#include <ondrix/shaders/Mesh.h>
#include <ondrix/shaders/Shader.h>

namespace ondrix {

/// Draws a mesh with a vertex and a fragment shader into the whole of an output texture, which is first cleared to
/// opaque black. It holds all of them and never changes; what is drawn changes through the shaders' resources. The GPU
/// texture behind the output may be replaced between draws as long as its pixel format stays.
class RenderPass : public Pass {
public:
    /// `outputPixelFormat` is that of every texture that will be drawn into. When the pipeline can't be built, one
    /// message with the platform's reason is logged and the pass encodes nothing; null without memory for it.
    [[nodiscard]] static std::shared_ptr<RenderPass> create(
        std::shared_ptr<Device> device, std::shared_ptr<Shader> vertexShader, std::shared_ptr<Shader> fragmentShader,
        std::shared_ptr<Mesh> mesh, std::shared_ptr<Texture> outputTexture, MTLPixelFormat outputPixelFormat);
    /// Null, with the reason in `error` (may be null), when the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<RenderPass> create(std::shared_ptr<Device> device,
                                                            std::shared_ptr<Shader> vertexShader,
                                                            std::shared_ptr<Shader> fragmentShader,
                                                            std::shared_ptr<Mesh> mesh,
                                                            std::shared_ptr<Texture> outputTexture,
                                                            MTLPixelFormat outputPixelFormat, NSError* error);

    [[nodiscard]] const std::shared_ptr<Device>& device() const noexcept { return device_; }
    [[nodiscard]] const std::shared_ptr<Shader>& vertexShader() const noexcept { return vertexShader_; }
    [[nodiscard]] const std::shared_ptr<Shader>& fragmentShader() const noexcept { return fragmentShader_; }
    [[nodiscard]] const std::shared_ptr<Texture>& outputTexture() const noexcept { return outputTexture_; }

    /// False without a message when the output has no GPU texture, the pipeline could not be built or the command
    /// buffer gives no encoder; false with a message when a shader can't be encoded.
    using Pass::encode;
    [[nodiscard]] bool encode(MTLCommandBuffer& commandBuffer) override;

    void sourceResolutionDidChange(Int width, Int height) override;  ///< does nothing
    void outputResolutionDidChange(Int width, Int height) override;  ///< does nothing

protected:
    RenderPass(std::shared_ptr<Device> device, std::shared_ptr<Shader> vertexShader,
               std::shared_ptr<Shader> fragmentShader, std::shared_ptr<Mesh> mesh,
               std::shared_ptr<Texture> outputTexture, MTLPixelFormat outputPixelFormat);

    /// Whether the pipeline could be built.
    [[nodiscard]] bool hasPipeline() const noexcept { return pipelineState_ != nullptr; }

private:
    [[nodiscard]] bool encodeDraw(MTLRenderCommandEncoder& encoder) const;

    std::shared_ptr<Device> device_;
    std::shared_ptr<Shader> vertexShader_;
    std::shared_ptr<Shader> fragmentShader_;
    std::shared_ptr<Texture> outputTexture_;
    std::shared_ptr<Mesh> mesh_;
    std::shared_ptr<MTLRenderPipelineState> pipelineState_;
};

}  // namespace ondrix
