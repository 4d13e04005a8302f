#pragma once

#include <memory>

#include <ondrix/passes/Effect.h>
#include <ondrix/passes/ResizeTexturePass.h>

namespace ondrix {

/// Resizes a texture into another with a single `ResizeTexturePass` named "resize", at first over the whole output.
class ResizeTextureEffect : public Effect {
public:
    /// Null, with the reason in `error` (may be null), when a part is missing or the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<ResizeTextureEffect> create(std::shared_ptr<Device> device,
                                                                     std::shared_ptr<Texture> inputTexture,
                                                                     std::shared_ptr<Texture> outputTexture,
                                                                     ResizeFilter filter, NSError* error);

    /// Input, filter and place are set at the pass.
    [[nodiscard]] const std::shared_ptr<ResizeTexturePass>& pass() const noexcept { return pass_; }

private:
    ResizeTextureEffect(std::shared_ptr<Device> device, std::shared_ptr<MTLCommandQueue> commandQueue,
                        std::shared_ptr<ResizeTexturePass> pass);

    std::shared_ptr<ResizeTexturePass> pass_;
};

}  // namespace ondrix
