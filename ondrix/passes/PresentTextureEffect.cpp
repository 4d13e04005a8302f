#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/passes/PassParts.h>
#include <ondrix/passes/PlaceTextureEffect.h>
#include <ondrix/passes/PlaceTexturePass.h>
#include <ondrix/passes/PresentTextureEffect.h>

namespace ondrix {

PresentTextureEffect::PresentTextureEffect(std::shared_ptr<Device> device,
                                           std::shared_ptr<MTLCommandQueue> commandQueue,
                                           std::shared_ptr<PresentTexturePass> pass, ContentMode contentMode,
                                           ImageRotation rotation, bool flipHorizontally)
    : Effect(std::move(device), std::move(commandQueue)),
      contentMode_(contentMode),
      rotation_(rotation),
      flipHorizontally_(flipHorizontally),
      myPass_(std::move(pass)) {}

std::shared_ptr<PresentTextureEffect> PresentTextureEffect::create(
    std::shared_ptr<Device> device, std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture,
    MTLPixelFormat outputPixelFormat, ContentMode contentMode, ImageRotation rotation, bool flipHorizontally) {
    return make<PresentTextureEffect, PresentTexturePass>("present", IfMissing::stopProcess, std::move(device),
                                                          std::move(inputTexture), std::move(outputTexture),
                                                          outputPixelFormat, contentMode, rotation, flipHorizontally);
}

std::shared_ptr<PresentTextureEffect> PresentTextureEffect::create(std::shared_ptr<Device> device,
                                                                   std::shared_ptr<Texture> inputTexture,
                                                                   std::shared_ptr<Texture> outputTexture,
                                                                   MTLPixelFormat outputPixelFormat,
                                                                   ContentMode contentMode, ImageRotation rotation,
                                                                   bool flipHorizontally, NSError* error) {
    return Failure::toldTo(error, [&] {
        return make<PresentTextureEffect, PresentTexturePass>(
            "present", IfMissing::fail, std::move(device), std::move(inputTexture), std::move(outputTexture),
            outputPixelFormat, contentMode, rotation, flipHorizontally);
    });
}

template <class EffectClass, class PassClass>
std::shared_ptr<EffectClass> PresentTextureEffect::make(const char* named, IfMissing ifMissing,
                                                        std::shared_ptr<Device> device,
                                                        std::shared_ptr<Texture> inputTexture,
                                                        std::shared_ptr<Texture> outputTexture,
                                                        MTLPixelFormat outputPixelFormat, ContentMode contentMode,
                                                        ImageRotation rotation, bool flipHorizontally) {
    return ofReadyMadeParts([&]() -> std::shared_ptr<EffectClass> {
        auto pass =
            PresentTexturePass::make<PassClass>(ifMissing, device, std::move(inputTexture), std::move(outputTexture),
                                                outputPixelFormat, contentMode, rotation, flipHorizontally);
        if (pass == nullptr) return nullptr;
        auto commandQueue = makeCommandQueue(*device, ifMissing);
        if (commandQueue == nullptr) return nullptr;
        std::shared_ptr<EffectClass> effect(
            new EffectClass(std::move(device), std::move(commandQueue), pass, contentMode, rotation, flipHorizontally));
        effect->add(std::move(pass), named);
        return effect;
    });
}

template std::shared_ptr<PlaceTextureEffect> PresentTextureEffect::make<PlaceTextureEffect, PlaceTexturePass>(
    const char*, IfMissing, std::shared_ptr<Device>, std::shared_ptr<Texture>, std::shared_ptr<Texture>, MTLPixelFormat,
    ContentMode, ImageRotation, bool);

ContentMode PresentTextureEffect::contentMode() const {
    return contentMode_;
}

void PresentTextureEffect::setContentMode(ContentMode contentMode) {
    if (std::exchange(contentMode_, contentMode) != contentMode) shouldUpdateTransform_ = true;
}

ImageRotation PresentTextureEffect::rotation() const {
    return rotation_;
}

void PresentTextureEffect::setRotation(ImageRotation rotation) {
    if (std::exchange(rotation_, rotation) != rotation) shouldUpdateTransform_ = true;
}

bool PresentTextureEffect::flipHorizontally() const {
    return flipHorizontally_;
}

void PresentTextureEffect::setFlipHorizontally(bool flipHorizontally) {
    if (std::exchange(flipHorizontally_, flipHorizontally) != flipHorizontally) shouldUpdateTransform_ = true;
}

std::shared_ptr<Texture> PresentTextureEffect::inputTexture() const {
    return myPass_->inputTexture();
}

void PresentTextureEffect::setInputTexture(std::shared_ptr<Texture> inputTexture) {
    myPass_->set(std::move(inputTexture));
}

bool PresentTextureEffect::prepare() {
    if (std::exchange(shouldUpdateTransform_, false)) myPass_->set(contentMode(), rotation(), flipHorizontally());
    return true;
}

}  // namespace ondrix
