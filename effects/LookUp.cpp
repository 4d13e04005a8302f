#include "functions/LookUp.h"

#include "Effects.h"
#include "TableTexture.h"

namespace ondrix::effects {
namespace {

const std::vector<Parameter> parameters = {
    {"table", "a .cube file with a three-dimensional table", ParameterKind::table},
    {"strength", "share of the table's colour in the result", ParameterKind::number, 0, 1, 1},
};

class LookUpPass : public Pass {
public:
    explicit LookUpPass(std::shared_ptr<Step> step) : step_(std::move(step)) {}

    static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                      std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        auto step = Step::create(device, library, "Effects::LookUp", {std::move(input), nullptr, std::move(output)});
        return step ? std::make_shared<LookUpPass>(std::move(step)) : nullptr;
    }

    void set(const std::string& property, const std::any& value) override { properties_.set(property, value); }
    std::any get(const std::string& property) const override { return properties_.get(property); }
    bool has(const std::string& property) const override { return properties_.has(property); }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const auto table = properties_.object<const LookUpTable>("table");
        if (table == nullptr) {
            Logger::gfx().error("The effect 'look-up' has no table.");
            return false;
        }
        if (table != uploaded_ || texture_ == nullptr) texture_ = TableTexture::create(step_->device(), *table);
        if (texture_ == nullptr) return false;
        uploaded_ = table;
        step_->setResource(texture_, 1);
        functions::LookUp settings{table->size, {}, {}, properties_.number("strength")};
        for (int i = 0; i < 3; ++i) settings.minimum[i] = table->minimum[i], settings.maximum[i] = table->maximum[i];
        return step_->encode(commandBuffer, settings);
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

private:
    std::shared_ptr<Step> step_;
    std::shared_ptr<const LookUpTable> uploaded_;
    std::shared_ptr<TableTexture> texture_;
    Properties properties_{parameters};
};

}  // namespace

EffectDescription lookUp() {
    return {"look-up", "colours by a three-dimensional look-up table", parameters, LookUpPass::make};
}

}  // namespace ondrix::effects
