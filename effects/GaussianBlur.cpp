#include "Effects.h"
#include "functions/GaussianWeights.h"

namespace ondrix::effects {
namespace {

const std::vector<Parameter> parameters = {
    {"radius", "pixels on either side that a pixel is blurred with", ParameterKind::number, 0,
     functions::GaussianWeights::largestRadius, 6},
};

class GaussianBlurPass : public Pass {
public:
    static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                      std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        auto pass = std::make_shared<GaussianBlurPass>();
        pass->input_ = input;
        pass->between_ = device->makeTexture(1, 1, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
        if (pass->between_ == nullptr) return nullptr;
        pass->rows_ = Step::create(device, library, "Effects::GaussianBlur::Rows", {std::move(input), pass->between_});
        pass->columns_ =
            Step::create(device, library, "Effects::GaussianBlur::Columns", {pass->between_, std::move(output)});
        return pass->rows_ != nullptr && pass->columns_ != nullptr ? pass : nullptr;
    }

    void set(const std::string& property, const std::any& value) override { properties_.set(property, value); }
    std::any get(const std::string& property) const override { return properties_.get(property); }
    bool has(const std::string& property) const override { return properties_.has(property); }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const functions::GaussianWeights weights(properties_.number("radius"));
        return between_->resize(input_->size()) && rows_->encode(commandBuffer, weights) &&
               columns_->encode(commandBuffer, weights);
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

private:
    std::shared_ptr<Texture> input_, between_;
    std::shared_ptr<Step> rows_, columns_;
    Properties properties_{parameters};
};

}  // namespace

EffectDescription gaussianBlur() {
    return {"gaussian-blur", "blurs", parameters, GaussianBlurPass::make};
}

}  // namespace ondrix::effects
