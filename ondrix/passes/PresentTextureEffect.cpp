#include <utility>

#include <ondrix/passes/PresentTextureEffect.h>

namespace ondrix {

PresentTextureEffect::PresentTextureEffect(std::shared_ptr<Device> device, std::shared_ptr<PresentTexturePass> pass,
                                           ContentMode contentMode, ImageRotation rotation, bool flipHorizontally)
    : Effect(std::move(device)),
      contentMode_(contentMode),
      rotation_(rotation),
      flipHorizontally_(flipHorizontally),
      myPass_(std::move(pass)) {}

std::shared_ptr<PresentTextureEffect> PresentTextureEffect::create(
    std::shared_ptr<Device> device, std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture,
    MTLPixelFormat outputPixelFormat, ContentMode contentMode, ImageRotation rotation, bool flipHorizontally) {
    auto pass = PresentTexturePass::create(device, std::move(inputTexture), std::move(outputTexture), outputPixelFormat,
                                           contentMode, rotation, flipHorizontally);
    const std::shared_ptr<PresentTextureEffect> effect(
        new PresentTextureEffect(std::move(device), pass, contentMode, rotation, flipHorizontally));
    effect->add(std::move(pass), "present");
    return effect;
}

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
