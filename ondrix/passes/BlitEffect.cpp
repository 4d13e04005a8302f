#include <utility>

#include <ondrix/core/FatalError.h>
#include <ondrix/passes/BlitComputePass.h>
#include <ondrix/passes/BlitEffect.h>
#include <ondrix/passes/BlitRenderPass.h>

namespace ondrix {

BlitEffect::BlitEffect(std::shared_ptr<Device> device, std::shared_ptr<BlitRenderPass> renderPass,
                       std::shared_ptr<BlitComputePass> computePass)
    : Effect(std::move(device)), renderPass_(std::move(renderPass)), computePass_(std::move(computePass)) {}

std::shared_ptr<BlitEffect> BlitEffect::create(std::shared_ptr<Device> device, std::shared_ptr<Texture> inputTexture,
                                               std::shared_ptr<Texture> outputTexture, PassType passType,
                                               MTLPixelFormat outputPixelFormat) {
    std::shared_ptr<BlitRenderPass> renderPass;
    std::shared_ptr<BlitComputePass> computePass;
    std::shared_ptr<Pass> pass;
    if (passType == PassType::computePass) {
        pass = computePass = BlitComputePass::create(device, std::move(inputTexture), std::move(outputTexture));
    } else {
        pass = renderPass =
            BlitRenderPass::create(device, std::move(inputTexture), std::move(outputTexture), outputPixelFormat);
    }
    const std::shared_ptr<BlitEffect> effect(
        new BlitEffect(std::move(device), std::move(renderPass), std::move(computePass)));
    effect->add(std::move(pass), "blit");
    return effect;
}

std::shared_ptr<Texture> BlitEffect::inputTexture() const {
    if (renderPass_ != nullptr) return renderPass_->inputTexture();
    if (computePass_ != nullptr) return computePass_->inputTexture();
    fatalError("No input texture found.");
}

void BlitEffect::setInputTexture(std::shared_ptr<Texture> inputTexture) {
    if (renderPass_ != nullptr) {
        renderPass_->set(std::move(inputTexture));
    } else if (computePass_ != nullptr) {
        computePass_->set(std::move(inputTexture));
    }
}

}  // namespace ondrix
