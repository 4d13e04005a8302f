#include "functions/Colour.h"

#include <cmath>

#include "Effects.h"

namespace ondrix::effects {
namespace {

const std::vector<Parameter> parameters = {
    {"exposure", "stops; each doubles the light", ParameterKind::number, -8, 8, 0},
    {"contrast", "distance from mid-grey is multiplied by this", ParameterKind::number, 0, 4, 1},
    {"saturation", "distance from grey is multiplied by this; 0 is black and white", ParameterKind::number, 0, 4, 1},
};

class ColourPass : public Pass {
public:
    explicit ColourPass(std::shared_ptr<Step> step) : step_(std::move(step)) {}

    static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                      std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        auto step = Step::create(device, library, "Effects::Colour", {std::move(input), std::move(output)});
        return step ? std::make_shared<ColourPass>(std::move(step)) : nullptr;
    }

    void set(const std::string& property, const std::any& value) override { properties_.set(property, value); }
    std::any get(const std::string& property) const override { return properties_.get(property); }
    bool has(const std::string& property) const override { return properties_.has(property); }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        // Pixels hold light to the power of 1 / 2.2, and so does the factor.
        return step_->encode(commandBuffer,
                             functions::Colour{std::exp2(properties_.number("exposure") / 2.2f),
                                               properties_.number("contrast"), properties_.number("saturation")});
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

private:
    std::shared_ptr<Step> step_;
    Properties properties_{parameters};
};

}  // namespace

EffectDescription colour() {
    return {"colour", "exposure, contrast and saturation", parameters, ColourPass::make};
}

}  // namespace ondrix::effects
