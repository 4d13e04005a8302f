#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/effects/EffectCatalog.h>

namespace ondrix::effects {

// Each is defined with its pass.
EffectDescription chromaKey();
EffectDescription colour();
EffectDescription crossFade();
EffectDescription edges();
EffectDescription gaussianBlur();
EffectDescription lookUp();
EffectDescription scope();
EffectDescription unsharpMask();
EffectDescription vignette();

namespace {

const char codeOfThisLibrary = 0;

}  // namespace

const std::vector<EffectDescription>& allEffects() {
    static const std::vector<EffectDescription> effects = {
        colour(), lookUp(), gaussianBlur(), unsharpMask(), edges(), chromaKey(), vignette(), crossFade(), scope(),
    };
    return effects;
}

std::shared_ptr<Pass> EffectDescription::makePass(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                                  std::shared_ptr<Texture> input, std::shared_ptr<Texture> output,
                                                  NSError* error) const {
    return Failure::toldTo(error, [&] { return make(device, library, std::move(input), std::move(output)); });
}

std::shared_ptr<ShaderLibrary> makeEffectLibrary(Device& device) {
    return makeEffectLibrary(device, nullptr);
}

std::shared_ptr<ShaderLibrary> makeEffectLibrary(Device& device, NSError* error) {
    return device.makeShaderLibrary(AnyClass{&codeOfThisLibrary}, "default", "oxlib", error);
}

}  // namespace ondrix::effects
