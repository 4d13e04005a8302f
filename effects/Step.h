#pragma once

#include <memory>
#include <string>
#include <vector>

#include <ondrix/Ondrix.h>

namespace ondrix::effects {

/// One run of a compute function over its output, which effects are made of. The function's constants, in slot 0, are
/// copied into the commands, so that frames still being drawn keep theirs. Textures are measured and bound anew each
/// time: they may have changed their size.
class Step {
public:
    /// The textures go to the slots from 0 on; null leaves a slot for later, and the last one is the output. Null, with
    /// a message logged, when `library` lacks the function or the device refuses it.
    [[nodiscard]] static std::shared_ptr<Step> create(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                                      const std::string& function,
                                                      const std::vector<std::shared_ptr<Texture>>& textures);

    /// Binds another texture, or a sampler.
    void setResource(std::shared_ptr<ShaderResource> resource, Int slot);

    /// False when the work could not be recorded.
    [[nodiscard]] bool encode(MTLCommandBuffer& commandBuffer) { return pass_->encode(commandBuffer); }
    template <class Constants>
    [[nodiscard]] bool encode(MTLCommandBuffer& commandBuffer, const Constants& constants) {
        constants_->updateBufferContent(&constants, sizeof constants);
        setResource(constants_, 0);
        return encode(commandBuffer);
    }

private:
    std::shared_ptr<Shader> shader_;
    std::shared_ptr<UniformBuffer> constants_;
    std::shared_ptr<ComputePass> pass_;
};

}  // namespace ondrix::effects
