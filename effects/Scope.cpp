// The effect whose functions are in functions/Scope.cpp.

#include "EffectPass.h"
#include "functions/Constants.h"

namespace ondrix::effects {
namespace {

class ScopePass : public EffectPass {
public:
    explicit ScopePass(Builder& build)
        : EffectPass(build),
          input_(build.input),
          counts_(build.texture(1, 256)),
          sums_(build.texture(256, 1, MTLPixelFormat::rgba32Float)),
          count_(build.step("Effects::Scope::Count", {input_, counts_})),
          sum_(build.step("Effects::Scope::Sum", {input_, counts_, sums_})),
          draw_(build.step("Effects::Scope::Draw", {input_, counts_, sums_, build.output})) {}

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const functions::Scope settings{number("kind") >= 0.5f, number("height"), number("gain")};
        return counts_->resize(input_->width(), 256) && count_->encode(commandBuffer) && sum_->encode(commandBuffer) &&
               draw_->encode(commandBuffer, settings);
    }

private:
    const std::shared_ptr<Texture> input_, counts_, sums_;
    const std::shared_ptr<Step> count_, sum_, draw_;
};

}  // namespace

EffectDescription scope() {
    const std::vector<Parameter> parameters = {
        {"kind", "0 is a waveform: levels of each column; 1 a histogram of all pixels", ParameterKind::number, 0, 1, 0},
        {"height", "share of the picture that is drawn over, from the bottom", ParameterKind::number, 0, 1, 0.4f},
        {"gain", "brightness of the waveform, height of the histogram", ParameterKind::number, 0.1f, 10, 1},
    };
    return {"scope", "shows the levels of red, green and blue over the picture", parameters,
            EffectPass::make<scope, ScopePass>};
}

}  // namespace ondrix::effects
