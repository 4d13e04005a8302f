#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include <ondrix/core/Device.h>
#include <ondrix/passes/Pass.h>
#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/resources/Texture.h>
#include <ondrix/shaders/ShaderLibrary.h>

/// Ready-made effects over one picture, each a pass with named properties: examples to copy, and what the program
/// `ondrix` offers by name.
namespace ondrix::effects {

enum class ParameterKind {
    number,   ///< set with any floating-point or integer type except bool and char; `get` returns a float
    table,    ///< set with a std::shared_ptr<const LookUpTable>
    picture,  ///< set with a std::shared_ptr<Texture>
};

/// A property of an effect's pass. A value of another type than its kind says, or outside its range, is refused with
/// one message logged, and the property stays as it was.
struct Parameter {
    std::string_view name;
    std::string_view summary;  ///< with its unit, such as "radius in pixels"
    ParameterKind kind = ParameterKind::number;
    float minimum = 0, maximum = 1, initial = 0;  ///< of a number; both ends are allowed
};

/// An effect by name. A table or a picture must be set before the first encoding, which fails without.
struct EffectDescription {
    std::string_view name;     ///< lower case, words joined by '-', such as "gaussian-blur"
    std::string_view summary;  ///< one line
    std::vector<Parameter> parameters;
    /// A pass that draws `input` into `output`; the two have one size and differ. Null, with a message logged, when
    /// `library` lacks a function, the device refuses one, or memory is short. Everything is held by the pass.
    std::shared_ptr<Pass> (*make)(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                  std::shared_ptr<Texture> input, std::shared_ptr<Texture> output);
    /// The same, with the reason of a failure in `error`; it is logged where that is null.
    [[nodiscard]] std::shared_ptr<Pass> makePass(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                                 std::shared_ptr<Texture> input, std::shared_ptr<Texture> output,
                                                 NSError* error) const;
};

/// All effects, in the order in which they are listed to users. Lives as long as the process.
[[nodiscard]] const std::vector<EffectDescription>& allEffects();

/// The library with the effects' functions, which lies in a bundle beside this one; null, with a message logged, when
/// it can't be opened.
[[nodiscard]] std::shared_ptr<ShaderLibrary> makeEffectLibrary(Device& device);
/// The same, with the reason of a failure in `error`; it is logged where that is null.
[[nodiscard]] std::shared_ptr<ShaderLibrary> makeEffectLibrary(Device& device, NSError* error);

}  // namespace ondrix::effects
