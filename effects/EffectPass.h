#pragma once

#include <any>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <ondrix/effects/EffectCatalog.h>

#include "Step.h"

namespace ondrix::effects {

/// What the passes of all effects have in common. Its properties are the parameters of the effect: a number starts with
/// its initial value, a table or a picture starts unset. A subclass makes its steps in its constructor and encodes them
/// with constants that it makes from its properties.
class EffectPass : public Pass {
public:
    /// What a pass is made from and with. It notes whether anything could not be made; the pass is then given up.
    class Builder {
    public:
        Builder(const EffectDescription& effectOfPass, std::shared_ptr<Device> deviceOfPass,
                ShaderLibrary& libraryOfFunctions, std::shared_ptr<Texture> inputOfPass,
                std::shared_ptr<Texture> outputOfPass);

        /// A step of the pass, as `Step::create` makes it. Null when that fails, or something before has failed.
        [[nodiscard]] std::shared_ptr<Step> step(const std::string& function,
                                                 const std::vector<std::shared_ptr<Texture>>& textures);
        /// A texture between two steps, of undefined content.
        [[nodiscard]] std::shared_ptr<Texture> texture(Int width, Int height,
                                                       MTLPixelFormat pixelFormat = MTLPixelFormat::bgra8Unorm);
        /// A sampler between the centres of four pixels, with the pixels at the edge beyond it.
        [[nodiscard]] std::shared_ptr<Sampler> linearSampler();

        [[nodiscard]] bool isComplete() const { return isComplete_; }

        const EffectDescription& effect;
        const std::shared_ptr<Device> device;
        const std::shared_ptr<Texture> input, output;

    private:
        template <class Part>
        std::shared_ptr<Part> noted(std::shared_ptr<Part> part);

        ShaderLibrary& library_;
        bool isComplete_ = true;
    };

    /// This is `EffectDescription::make` of the effect that `describe` returns; its passes are of type `PassClass`.
    template <EffectDescription (*describe)(), class PassClass>
    [[nodiscard]] static std::shared_ptr<Pass> make(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                                    std::shared_ptr<Texture> input, std::shared_ptr<Texture> output) {
        static const EffectDescription effect = describe();
        Builder build(effect, device, library, std::move(input), std::move(output));
        auto pass = std::make_shared<PassClass>(build);
        return build.isComplete() ? pass : nullptr;
    }

    /// Ignores other names. Logs one message and changes nothing for a value of another type than the parameter's, or
    /// outside its range.
    void set(const std::string& property, const std::any& value) override;
    /// A number is a float. Empty for another name, and for a table or a picture that wasn't set.
    [[nodiscard]] std::any get(const std::string& property) const override;
    [[nodiscard]] bool has(const std::string& property) const override;

    /// Do nothing: each step measures its textures when it is encoded.
    void sourceResolutionDidChange(Int width, Int height) override;
    void outputResolutionDidChange(Int width, Int height) override;

protected:
    explicit EffectPass(const Builder& build);

    /// The value of a number, which must be among the properties.
    [[nodiscard]] float number(std::string_view property) const;
    /// The table or the picture; null until it is set.
    template <class Object>
    [[nodiscard]] std::shared_ptr<Object> object(std::string_view property) const {
        const auto* const held = std::any_cast<std::shared_ptr<Object>>(find(property));
        return held != nullptr ? *held : nullptr;
    }

private:
    /// The value of a property; null for another name.
    [[nodiscard]] const std::any* find(std::string_view property) const;

    const EffectDescription& effect_;
    std::vector<std::any> values_;  ///< one for each parameter
};

}  // namespace ondrix::effects
