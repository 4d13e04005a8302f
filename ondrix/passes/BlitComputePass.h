#pragma once

#include <memory>

#include <ondrix/passes/ComputePass.h>

namespace ondrix {

enum class IfMissing : unsigned char;

/// Copies an input texture to the output position for position, where both have the position. Made by `BlitEffect`.
class BlitComputePass : public ComputePass {
public:
    [[nodiscard]] const std::shared_ptr<Texture>& inputTexture() const noexcept { return inputTexture_; }
    using ComputePass::set;
    /// Takes effect at the next encode.
    virtual void set(std::shared_ptr<Texture> inputTexture);

protected:
    BlitComputePass(std::shared_ptr<Device> device, std::shared_ptr<Shader> computeShader,
                    std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture);

private:
    friend class BlitEffect;

    /// Needs the framework's shader library and its function; where the process goes on without, null.
    [[nodiscard]] static std::shared_ptr<BlitComputePass> make(IfMissing ifMissing, std::shared_ptr<Device> device,
                                                               std::shared_ptr<Texture> inputTexture,
                                                               std::shared_ptr<Texture> outputTexture);

    std::shared_ptr<Texture> inputTexture_;
};

}  // namespace ondrix
