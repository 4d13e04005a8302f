#include "functions/CrossFade.h"

#include "Effects.h"

namespace ondrix::effects {
namespace {

const std::vector<Parameter> parameters = {
    {"picture", "the picture to fade to, stretched over the whole", ParameterKind::picture},
    {"amount", "its share in the result", ParameterKind::number, 0, 1, 0.5f},
};

class CrossFadePass : public Pass {
public:
    explicit CrossFadePass(std::shared_ptr<Step> step) : step_(std::move(step)) {}

    static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                      std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        auto step = Step::create(device, library, "Effects::CrossFade", {std::move(input), nullptr, std::move(output)});
        constexpr auto linear = MTLSamplerMinMagFilter::linear;
        constexpr auto clamp = MTLSamplerAddressMode::clampToEdge;
        auto sampler = device->makeSampler(linear, linear, clamp, clamp, 1, MTLSamplerBorderColor::transparentBlack);
        if (step == nullptr || sampler == nullptr) return nullptr;
        step->setResource(std::move(sampler), 0);
        return std::make_shared<CrossFadePass>(std::move(step));
    }

    void set(const std::string& property, const std::any& value) override { properties_.set(property, value); }
    std::any get(const std::string& property) const override { return properties_.get(property); }
    bool has(const std::string& property) const override { return properties_.has(property); }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        auto picture = properties_.object<Texture>("picture");
        if (picture == nullptr) {
            Logger::gfx().error("The effect 'cross-fade' has no picture.");
            return false;
        }
        step_->setResource(std::move(picture), 1);
        return step_->encode(commandBuffer, functions::CrossFade{properties_.number("amount")});
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

private:
    std::shared_ptr<Step> step_;
    Properties properties_{parameters};
};

}  // namespace

EffectDescription crossFade() {
    return {"cross-fade", "mixes with a second picture", parameters, CrossFadePass::make};
}

}  // namespace ondrix::effects
