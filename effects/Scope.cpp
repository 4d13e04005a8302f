#include "functions/Scope.h"

#include "Effects.h"

namespace ondrix::effects {
namespace {

const std::vector<Parameter> parameters = {
    {"kind", "0 is a waveform: levels of each column; 1 a histogram of all pixels", ParameterKind::number, 0, 1, 0},
    {"height", "share of the picture that is drawn over, from the bottom", ParameterKind::number, 0, 1, 0.4f},
    {"gain", "brightness of the waveform, height of the histogram", ParameterKind::number, 0.1f, 10, 1},
};

class ScopePass : public Pass {
public:
    static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                      std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        auto pass = std::make_shared<ScopePass>();
        pass->input_ = input;
        pass->counts_ = device->makeTexture(1, 256, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
        const auto sums = device->makeTexture(256, 1, MTLPixelFormat::rgba32Float, MTLTextureUsage::unknown);
        if (pass->counts_ == nullptr || sums == nullptr) return nullptr;
        pass->count_ = Step::create(device, library, "Effects::Scope::Count", {input, pass->counts_});
        pass->sum_ = Step::create(device, library, "Effects::Scope::Sum", {input, pass->counts_, sums});
        pass->draw_ = Step::create(device, library, "Effects::Scope::Draw", {input, pass->counts_, sums, output});
        return pass->count_ && pass->sum_ && pass->draw_ ? pass : nullptr;
    }

    void set(const std::string& property, const std::any& value) override { properties_.set(property, value); }
    std::any get(const std::string& property) const override { return properties_.get(property); }
    bool has(const std::string& property) const override { return properties_.has(property); }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const functions::Scope settings{properties_.number("kind") >= 0.5f, properties_.number("height"),
                                        properties_.number("gain")};
        return counts_->resize(input_->width(), 256) && count_->encode(commandBuffer) && sum_->encode(commandBuffer) &&
               draw_->encode(commandBuffer, settings);
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

private:
    std::shared_ptr<Texture> input_, counts_;
    std::shared_ptr<Step> count_, sum_, draw_;
    Properties properties_{parameters};
};

}  // namespace

EffectDescription scope() {
    return {"scope", "shows the levels of red, green and blue over the picture", parameters, ScopePass::make};
}

}  // namespace ondrix::effects
