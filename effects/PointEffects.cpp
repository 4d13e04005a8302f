// The effects whose functions are in functions/PointEffects.cpp.

#include <cmath>

#include "EffectPass.h"
#include "functions/Constants.h"

namespace ondrix::effects {
namespace {

class ChromaKeyPass : public EffectPass {
public:
    explicit ChromaKeyPass(Builder& build)
        : EffectPass(build), replace_(build.step("Effects::ChromaKey", {build.input, build.output})) {}

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const functions::ChromaKey settings{
            {number("red"), number("green"), number("blue")},
            number("tolerance"),
            number("softness"),
            {number("background-red"), number("background-green"), number("background-blue")},
            number("background-alpha")};
        return replace_->encode(commandBuffer, settings);
    }

private:
    const std::shared_ptr<Step> replace_;
};

class ColourPass : public EffectPass {
public:
    explicit ColourPass(Builder& build)
        : EffectPass(build), adjust_(build.step("Effects::Colour", {build.input, build.output})) {}

    bool encode(MTLCommandBuffer& commandBuffer) override {
        // Pixels hold light to the power of 1 / 2.2, and so does the factor.
        const functions::Colour settings{std::exp2(number("exposure") / 2.2f), number("contrast"),
                                         number("saturation")};
        return adjust_->encode(commandBuffer, settings);
    }

private:
    const std::shared_ptr<Step> adjust_;
};

class CrossFadePass : public EffectPass {
public:
    explicit CrossFadePass(Builder& build)
        : EffectPass(build), mix_(build.step("Effects::CrossFade", {build.input, nullptr, build.output})) {
        auto sampler = build.linearSampler();
        if (build.isComplete()) mix_->setResource(std::move(sampler), 0);
    }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        auto picture = object<Texture>("picture");
        if (picture == nullptr) {
            Logger::gfx().error("The effect 'cross-fade' has no picture.");
            return false;
        }
        mix_->setResource(std::move(picture), 1);
        return mix_->encode(commandBuffer, functions::CrossFade{number("amount")});
    }

private:
    const std::shared_ptr<Step> mix_;
};

class VignettePass : public EffectPass {
public:
    explicit VignettePass(Builder& build)
        : EffectPass(build), darken_(build.step("Effects::Vignette", {build.input, build.output})) {}

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const functions::Vignette settings{number("radius"), number("softness"), number("strength")};
        return darken_->encode(commandBuffer, settings);
    }

private:
    const std::shared_ptr<Step> darken_;
};

}  // namespace

EffectDescription chromaKey() {
    const std::vector<Parameter> parameters = {
        {"red", "colour to replace", ParameterKind::number, 0, 1, 0},
        {"green", "colour to replace", ParameterKind::number, 0, 1, 1},
        {"blue", "colour to replace", ParameterKind::number, 0, 1, 0},
        {"tolerance", "difference in hue and saturation that is replaced wholly", ParameterKind::number, 0, 1, 0.25f},
        {"softness", "further difference until nothing is replaced", ParameterKind::number, 0, 1, 0.1f},
        {"background-red", "colour that shows instead", ParameterKind::number, 0, 1, 0},
        {"background-green", "colour that shows instead", ParameterKind::number, 0, 1, 0},
        {"background-blue", "colour that shows instead", ParameterKind::number, 0, 1, 0},
        {"background-alpha", "its opacity: 0 is transparent, 1 opaque", ParameterKind::number, 0, 1, 0},
    };
    return {"chroma-key", "replaces a colour, such as the green of a screen, by transparency or another colour",
            parameters, EffectPass::make<chromaKey, ChromaKeyPass>};
}

EffectDescription colour() {
    const std::vector<Parameter> parameters = {
        {"exposure", "stops; each doubles the light", ParameterKind::number, -8, 8, 0},
        {"contrast", "distance from mid-grey is multiplied by this", ParameterKind::number, 0, 4, 1},
        {"saturation", "distance from grey is multiplied by this; 0 is black and white", ParameterKind::number, 0, 4,
         1},
    };
    return {"colour", "exposure, contrast and saturation", parameters, EffectPass::make<colour, ColourPass>};
}

EffectDescription crossFade() {
    const std::vector<Parameter> parameters = {
        {"picture", "the picture to fade to, stretched over the whole", ParameterKind::picture},
        {"amount", "its share in the result", ParameterKind::number, 0, 1, 0.5f},
    };
    return {"cross-fade", "mixes with a second picture", parameters, EffectPass::make<crossFade, CrossFadePass>};
}

EffectDescription vignette() {
    const std::vector<Parameter> parameters = {
        {"radius", "where darkening begins: 0 is the middle, 1 the corners", ParameterKind::number, 0, 1, 0.5f},
        {"softness", "way from there to full strength, in the same unit", ParameterKind::number, 0, 1, 0.5f},
        {"strength", "light that is taken away: 1 ends in black", ParameterKind::number, 0, 1, 0.5f},
    };
    return {"vignette", "darkens towards the corners", parameters, EffectPass::make<vignette, VignettePass>};
}

}  // namespace ondrix::effects
