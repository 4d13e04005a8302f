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

std::shared_ptr<ShaderLibrary> makeEffectLibrary(Device& device) {
    return device.makeShaderLibrary(AnyClass{&codeOfThisLibrary}, "default", "oxlib");
}

}  // namespace ondrix::effects
