#include <ondrix/effects/EffectCatalog.h>

#include "Effects.h"

namespace ondrix::effects {

namespace {

const char codeOfThisLibrary = 0;

}  // namespace

const std::vector<EffectDescription>& allEffects() {
    static const std::vector<EffectDescription> effects = {
        colour(), lookUp(), gaussianBlur(), unsharpMask(), edges(), chromaKey(), vignette(), crossFade(), scope(),
    };
    return effects;
}

std::shared_ptr<ShaderLibrary> makeEffectLibrary(Device& device) {
    return device.makeShaderLibrary(AnyClass{&codeOfThisLibrary}, "default", "oxlib");
}

}  // namespace ondrix::effects
