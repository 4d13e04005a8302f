// The effects whose functions are in functions/NeighbourhoodEffects.cpp.

#include "EffectPass.h"
#include "functions/Constants.h"

namespace ondrix::effects {
namespace {

class EdgesPass : public EffectPass {
public:
    explicit EdgesPass(Builder& build)
        : EffectPass(build), outline_(build.step("Effects::Edges", {build.input, build.output})) {}

    bool encode(MTLCommandBuffer& commandBuffer) override {
        return outline_->encode(commandBuffer, functions::Edges{number("strength")});
    }

private:
    const std::shared_ptr<Step> outline_;
};

class GaussianBlurPass : public EffectPass {
public:
    explicit GaussianBlurPass(Builder& build)
        : EffectPass(build),
          input_(build.input),
          between_(build.texture(1, 1)),
          rows_(build.step("Effects::GaussianBlur::Rows", {input_, between_})),
          columns_(build.step("Effects::GaussianBlur::Columns", {between_, build.output})) {}

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const functions::GaussianWeights weights(number("radius"));
        return between_->resize(input_->size()) && rows_->encode(commandBuffer, weights) &&
               columns_->encode(commandBuffer, weights);
    }

private:
    const std::shared_ptr<Texture> input_, between_;
    const std::shared_ptr<Step> rows_, columns_;
};

class UnsharpMaskPass : public EffectPass {
public:
    explicit UnsharpMaskPass(Builder& build)
        : EffectPass(build),
          input_(build.input),
          between_(build.texture(1, 1)),
          blur_(build.step("Effects::GaussianBlur::Rows", {input_, between_})),
          sharpen_(build.step("Effects::UnsharpMask", {between_, input_, build.output})) {}

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const functions::UnsharpMask settings{functions::GaussianWeights(number("radius")), number("amount"),
                                              number("threshold")};
        return between_->resize(input_->size()) && blur_->encode(commandBuffer, settings.gaussian) &&
               sharpen_->encode(commandBuffer, settings);
    }

private:
    const std::shared_ptr<Texture> input_, between_;
    const std::shared_ptr<Step> blur_, sharpen_;
};

constexpr auto largestRadius = static_cast<float>(functions::GaussianWeights::largestRadius);

}  // namespace

EffectDescription edges() {
    const std::vector<Parameter> parameters = {
        {"strength", "brightness of an edge; at 1 one from black to white is white", ParameterKind::number, 0, 16, 1},
    };
    return {"edges", "outlines in white on black", parameters, EffectPass::make<edges, EdgesPass>};
}

EffectDescription gaussianBlur() {
    const std::vector<Parameter> parameters = {
        {"radius", "pixels on either side that a pixel is blurred with", ParameterKind::number, 0, largestRadius, 6},
    };
    return {"gaussian-blur", "blurs", parameters, EffectPass::make<gaussianBlur, GaussianBlurPass>};
}

EffectDescription unsharpMask() {
    const std::vector<Parameter> parameters = {
        {"radius", "pixels on either side that a pixel is compared with", ParameterKind::number, 0, largestRadius, 3},
        {"amount", "difference from the blurred picture that is added", ParameterKind::number, 0, 8, 1},
        {"threshold", "smallest difference that is changed, 1 from black to white", ParameterKind::number, 0, 1, 0},
    };
    return {"unsharp-mask", "sharpens", parameters, EffectPass::make<unsharpMask, UnsharpMaskPass>};
}

}  // namespace ondrix::effects
