#include "functions/ChromaKey.h"

#include "Effects.h"

namespace ondrix::effects {
namespace {

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

class ChromaKeyPass : public Pass {
public:
    explicit ChromaKeyPass(std::shared_ptr<Step> step) : step_(std::move(step)) {}

    static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                      std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        auto step = Step::create(device, library, "Effects::ChromaKey", {std::move(input), std::move(output)});
        return step ? std::make_shared<ChromaKeyPass>(std::move(step)) : nullptr;
    }

    void set(const std::string& property, const std::any& value) override { properties_.set(property, value); }
    std::any get(const std::string& property) const override { return properties_.get(property); }
    bool has(const std::string& property) const override { return properties_.has(property); }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const auto number = [this](const char* property) { return properties_.number(property); };
        const functions::ChromaKey settings{
            {number("red"), number("green"), number("blue")},
            number("tolerance"),
            number("softness"),
            {number("background-red"), number("background-green"), number("background-blue")},
            number("background-alpha")};
        return step_->encode(commandBuffer, settings);
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

private:
    std::shared_ptr<Step> step_;
    Properties properties_{parameters};
};

}  // namespace

EffectDescription chromaKey() {
    return {"chroma-key", "replaces a colour, such as the green of a screen, by transparency or another colour",
            parameters, ChromaKeyPass::make};
}

}  // namespace ondrix::effects
