#include "functions/Edges.h"

#include "Effects.h"

namespace ondrix::effects {
namespace {

const std::vector<Parameter> parameters = {
    {"strength", "brightness of an edge; at 1 one from black to white is white", ParameterKind::number, 0, 16, 1},
};

class EdgesPass : public Pass {
public:
    explicit EdgesPass(std::shared_ptr<Step> step) : step_(std::move(step)) {}

    static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                      std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        auto step = Step::create(device, library, "Effects::Edges", {std::move(input), std::move(output)});
        return step ? std::make_shared<EdgesPass>(std::move(step)) : nullptr;
    }

    void set(const std::string& property, const std::any& value) override { properties_.set(property, value); }
    std::any get(const std::string& property) const override { return properties_.get(property); }
    bool has(const std::string& property) const override { return properties_.has(property); }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        return step_->encode(commandBuffer, functions::Edges{properties_.number("strength")});
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

private:
    std::shared_ptr<Step> step_;
    Properties properties_{parameters};
};

}  // namespace

EffectDescription edges() {
    return {"edges", "outlines in white on black", parameters, EdgesPass::make};
}

}  // namespace ondrix::effects
