#include "functions/Vignette.h"

#include "Effects.h"

namespace ondrix::effects {
namespace {

const std::vector<Parameter> parameters = {
    {"radius", "where darkening begins: 0 is the middle, 1 the corners", ParameterKind::number, 0, 1, 0.5f},
    {"softness", "way from there to full strength, in the same unit", ParameterKind::number, 0, 1, 0.5f},
    {"strength", "light that is taken away: 1 ends in black", ParameterKind::number, 0, 1, 0.5f},
};

class VignettePass : public Pass {
public:
    explicit VignettePass(std::shared_ptr<Step> step) : step_(std::move(step)) {}

    static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                      std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        auto step = Step::create(device, library, "Effects::Vignette", {std::move(input), std::move(output)});
        return step ? std::make_shared<VignettePass>(std::move(step)) : nullptr;
    }

    void set(const std::string& property, const std::any& value) override { properties_.set(property, value); }
    std::any get(const std::string& property) const override { return properties_.get(property); }
    bool has(const std::string& property) const override { return properties_.has(property); }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        return step_->encode(commandBuffer,
                             functions::Vignette{properties_.number("radius"), properties_.number("softness"),
                                                 properties_.number("strength")});
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

private:
    std::shared_ptr<Step> step_;
    Properties properties_{parameters};
};

}  // namespace

EffectDescription vignette() {
    return {"vignette", "darkens towards the corners", parameters, VignettePass::make};
}

}  // namespace ondrix::effects
