#pragma once

#include <memory>

#include <ondrix/passes/Effect.h>
#include <ondrix/resources/Texture.h>
#include <ondrix/types/PassType.h>

namespace ondrix {

class BlitComputePass;
class BlitRenderPass;

/// Copies one texture into another with a single pass, named "blit": a render pass stretches the input over the output,
/// a compute pass copies position for position and leaves what lies outside the smaller of the two. Output and kind of
/// pass are fixed; the input can be replaced at any time.
class BlitEffect : public Effect {
public:
    /// `outputPixelFormat` is that of the output; a compute pass doesn't look at it. Stops the process with a message
    /// when a part is missing; null, with a message, without memory.
    [[nodiscard]] static std::shared_ptr<BlitEffect> create(std::shared_ptr<Device> device,
                                                            std::shared_ptr<Texture> inputTexture,
                                                            std::shared_ptr<Texture> outputTexture, PassType passType,
                                                            MTLPixelFormat outputPixelFormat);
    /// Null, with the reason in `error` (may be null), when a part is missing or the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<BlitEffect> create(std::shared_ptr<Device> device,
                                                            std::shared_ptr<Texture> inputTexture,
                                                            std::shared_ptr<Texture> outputTexture, PassType passType,
                                                            MTLPixelFormat outputPixelFormat, NSError* error);

    [[nodiscard]] virtual std::shared_ptr<Texture> inputTexture() const;
    /// Takes effect at the next encode.
    virtual void setInputTexture(std::shared_ptr<Texture> inputTexture);

protected:
    /// Exactly one of the passes is there. Adding it is up to who constructs.
    BlitEffect(std::shared_ptr<Device> device, std::shared_ptr<MTLCommandQueue> commandQueue,
               std::shared_ptr<BlitRenderPass> renderPass, std::shared_ptr<BlitComputePass> computePass);

private:
    [[nodiscard]] static std::shared_ptr<BlitEffect> make(IfMissing ifMissing, std::shared_ptr<Device> device,
                                                          std::shared_ptr<Texture> inputTexture,
                                                          std::shared_ptr<Texture> outputTexture, PassType passType,
                                                          MTLPixelFormat outputPixelFormat);

    std::shared_ptr<BlitRenderPass> renderPass_;  ///< exactly one of the two is there
    std::shared_ptr<BlitComputePass> computePass_;
};

}  // namespace ondrix
