#include "functions/UnsharpMask.h"

#include "Effects.h"

namespace ondrix::effects {
namespace {

const std::vector<Parameter> parameters = {
    {"radius", "pixels on either side that a pixel is compared with", ParameterKind::number, 0,
     functions::GaussianWeights::largestRadius, 3},
    {"amount", "difference from the blurred picture that is added", ParameterKind::number, 0, 8, 1},
    {"threshold", "smallest difference that is changed, 1 from black to white", ParameterKind::number, 0, 1, 0},
};

class UnsharpMaskPass : public Pass {
public:
    static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                      std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        auto pass = std::make_shared<UnsharpMaskPass>();
        pass->input_ = input;
        pass->between_ = device->makeTexture(1, 1, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
        if (pass->between_ == nullptr) return nullptr;
        pass->blur_ = Step::create(device, library, "Effects::GaussianBlur::Rows", {input, pass->between_});
        pass->sharpen_ = Step::create(device, library, "Effects::UnsharpMask",
                                      {pass->between_, std::move(input), std::move(output)});
        return pass->blur_ != nullptr && pass->sharpen_ != nullptr ? pass : nullptr;
    }

    void set(const std::string& property, const std::any& value) override { properties_.set(property, value); }
    std::any get(const std::string& property) const override { return properties_.get(property); }
    bool has(const std::string& property) const override { return properties_.has(property); }

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const functions::UnsharpMask settings{functions::GaussianWeights(properties_.number("radius")),
                                              properties_.number("amount"), properties_.number("threshold")};
        return between_->resize(input_->size()) && blur_->encode(commandBuffer, settings.gaussian) &&
               sharpen_->encode(commandBuffer, settings);
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

private:
    std::shared_ptr<Texture> input_, between_;
    std::shared_ptr<Step> blur_, sharpen_;
    Properties properties_{parameters};
};

}  // namespace

EffectDescription unsharpMask() {
    return {"unsharp-mask", "sharpens", parameters, UnsharpMaskPass::make};
}

}  // namespace ondrix::effects
