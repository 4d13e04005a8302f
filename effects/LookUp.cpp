// The effect whose function is in functions/LookUp.cpp.

#include <algorithm>

#include <ondrix/effects/LookUpTable.h>

#include "EffectPass.h"
#include "functions/Constants.h"

namespace ondrix::effects {
namespace {

/// The table as a picture of floats. Each blue is a square of red to the right and green downward; 16 squares stand
/// side by side and the next 16 below, so that no side gets too long for a texture. Null, with a message logged, when
/// memory is short.
std::shared_ptr<Texture> makeTexture(Device& device, const LookUpTable& table) {
    const auto size = static_cast<std::size_t>(table.size);
    const std::size_t across = 16, down = (size + across - 1) / across;
    const std::size_t width = across * size, height = down * size;
    const auto mtlTexture = device.mtlDevice()->makeTexture(
        {MTLPixelFormat::rgba32Float, width, height, false, MTLTextureUsage::shaderRead});
    if (mtlTexture == nullptr) {
        Logger::gfx().error("Failed to make the texture of a look-up table of size %d.", table.size);
        return nullptr;
    }
    std::vector<float> texels(4 * width * height);
    const float* colour = table.colours.data();
    for (std::size_t blue = 0; blue < size; ++blue) {
        for (std::size_t green = 0; green < size; ++green) {
            const std::size_t row = (blue / across) * size + green, column = (blue % across) * size;
            for (std::size_t red = 0; red < size; ++red, colour += 3) {
                std::copy_n(colour, 3, &texels[4 * (row * width + column + red)]);
            }
        }
    }
    mtlTexture->replace(MTLRegionMake2D(0, 0, width, height), 0, texels.data(), 4 * sizeof(float) * width);
    return device.makeTexture(mtlTexture);
}

class LookUpPass : public EffectPass {
public:
    explicit LookUpPass(Builder& build)
        : EffectPass(build),
          device_(build.device),
          lookUp_(build.step("Effects::LookUp", {build.input, nullptr, build.output})) {}

    bool encode(MTLCommandBuffer& commandBuffer) override {
        const auto table = object<const LookUpTable>("table");
        if (table == nullptr) {
            Logger::gfx().error("The effect 'look-up' has no table.");
            return false;
        }
        if (table != uploaded_) {
            auto texture = makeTexture(*device_, *table);
            if (texture == nullptr) return false;
            lookUp_->setResource(std::move(texture), 1);
            uploaded_ = table;
        }
        functions::LookUp settings{table->size, {}, {}, number("strength")};
        std::copy_n(table->minimum, 3, settings.minimum);
        std::copy_n(table->maximum, 3, settings.maximum);
        return lookUp_->encode(commandBuffer, settings);
    }

private:
    const std::shared_ptr<Device> device_;
    const std::shared_ptr<Step> lookUp_;
    std::shared_ptr<const LookUpTable> uploaded_;  ///< the table whose colours the step has; null at first
};

}  // namespace

EffectDescription lookUp() {
    const std::vector<Parameter> parameters = {
        {"table", "a .cube file with a three-dimensional table", ParameterKind::table},
        {"strength", "share of the table's colour in the result", ParameterKind::number, 0, 1, 1},
    };
    return {"look-up", "colours by a three-dimensional look-up table", parameters,
            EffectPass::make<lookUp, LookUpPass>};
}

}  // namespace ondrix::effects
