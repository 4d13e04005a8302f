#pragma once

#include <memory>

#include <ondrix/passes/RenderPass.h>
#include <ondrix/resources/Sampler.h>

namespace ondrix {

enum class IfMissing : unsigned char;

/// Draws an input texture over the whole output, stretched with a linear, edge-clamped sampler. The input can be
/// replaced at any time; the rest stays.
class BlitRenderPass : public RenderPass {
public:
    /// Stops the process with a message when the sampler, the framework's shader library, one of its functions or the
    /// device's quad mesh is missing; null, with a message, without memory.
    [[nodiscard]] static std::shared_ptr<BlitRenderPass> create(std::shared_ptr<Device> device,
                                                                std::shared_ptr<Texture> inputTexture,
                                                                std::shared_ptr<Texture> outputTexture,
                                                                MTLPixelFormat outputPixelFormat);
    /// Null, with the reason in `error` (may be null), when a part is missing or the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<BlitRenderPass> create(std::shared_ptr<Device> device,
                                                                std::shared_ptr<Texture> inputTexture,
                                                                std::shared_ptr<Texture> outputTexture,
                                                                MTLPixelFormat outputPixelFormat, NSError* error);

    [[nodiscard]] const std::shared_ptr<Texture>& inputTexture() const noexcept { return inputTexture_; }
    using RenderPass::set;
    /// Takes effect at the next encode.
    virtual void set(std::shared_ptr<Texture> inputTexture);

protected:
    BlitRenderPass(std::shared_ptr<Device> device, std::shared_ptr<Shader> vertexShader,
                   std::shared_ptr<Shader> fragmentShader, std::shared_ptr<Mesh> mesh,
                   std::shared_ptr<Texture> inputTexture, std::shared_ptr<Sampler> sampler,
                   std::shared_ptr<Texture> outputTexture, MTLPixelFormat outputPixelFormat);

private:
    friend class BlitEffect;

    [[nodiscard]] static std::shared_ptr<BlitRenderPass> make(IfMissing ifMissing, std::shared_ptr<Device> device,
                                                              std::shared_ptr<Texture> inputTexture,
                                                              std::shared_ptr<Texture> outputTexture,
                                                              MTLPixelFormat outputPixelFormat);

    std::shared_ptr<Texture> inputTexture_;
    std::shared_ptr<Sampler> sampler_;
};

}  // namespace ondrix
