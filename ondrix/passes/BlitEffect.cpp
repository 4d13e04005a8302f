#include <cassert>
#include <utility>

#include <ondrix/base/FatalError.h>
#include <ondrix/core/Failure.h>
#include <ondrix/passes/BlitComputePass.h>
#include <ondrix/passes/BlitEffect.h>
#include <ondrix/passes/BlitRenderPass.h>
#include <ondrix/passes/PassParts.h>

namespace ondrix {

BlitEffect::BlitEffect(std::shared_ptr<Device> device, std::shared_ptr<MTLCommandQueue> commandQueue,
                       std::shared_ptr<BlitRenderPass> renderPass, std::shared_ptr<BlitComputePass> computePass)
    : Effect(std::move(device), std::move(commandQueue)),
      renderPass_(std::move(renderPass)),
      computePass_(std::move(computePass)) {
    assert((renderPass_ != nullptr) != (computePass_ != nullptr));
}

std::shared_ptr<BlitEffect> BlitEffect::create(std::shared_ptr<Device> device, std::shared_ptr<Texture> inputTexture,
                                               std::shared_ptr<Texture> outputTexture, PassType passType,
                                               MTLPixelFormat outputPixelFormat) {
    return make(IfMissing::stopProcess, std::move(device), std::move(inputTexture), std::move(outputTexture), passType,
                outputPixelFormat);
}

std::shared_ptr<BlitEffect> BlitEffect::create(std::shared_ptr<Device> device, std::shared_ptr<Texture> inputTexture,
                                               std::shared_ptr<Texture> outputTexture, PassType passType,
                                               MTLPixelFormat outputPixelFormat, NSError* error) {
    return Failure::toldTo(error, [&] {
        return make(IfMissing::fail, std::move(device), std::move(inputTexture), std::move(outputTexture), passType,
                    outputPixelFormat);
    });
}

std::shared_ptr<BlitEffect> BlitEffect::make(IfMissing ifMissing, std::shared_ptr<Device> device,
                                             std::shared_ptr<Texture> inputTexture,
                                             std::shared_ptr<Texture> outputTexture, PassType passType,
                                             MTLPixelFormat outputPixelFormat) {
    return ofReadyMadeParts([&]() -> std::shared_ptr<BlitEffect> {
        std::shared_ptr<BlitRenderPass> renderPass;
        std::shared_ptr<BlitComputePass> computePass;
        std::shared_ptr<Pass> pass;
        if (passType == PassType::computePass) {
            pass = computePass =
                BlitComputePass::make(ifMissing, device, std::move(inputTexture), std::move(outputTexture));
        } else {
            pass = renderPass = BlitRenderPass::make(ifMissing, device, std::move(inputTexture),
                                                     std::move(outputTexture), outputPixelFormat);
        }
        if (pass == nullptr) return nullptr;
        auto commandQueue = makeCommandQueue(*device, ifMissing);
        if (commandQueue == nullptr) return nullptr;
        std::shared_ptr<BlitEffect> effect(
            new BlitEffect(std::move(device), std::move(commandQueue), std::move(renderPass), std::move(computePass)));
        effect->add(std::move(pass), "blit");
        return effect;
    });
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
