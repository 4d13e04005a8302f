#include "EffectPass.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <limits>
#include <optional>

#include <ondrix/effects/LookUpTable.h>

namespace ondrix::effects {

namespace {

/// A number of one of these types.
template <class... Numbers>
std::optional<double> toDouble(const std::any& value) {
    std::optional<double> result;
    const auto take = [&result](const auto* number) {
        if (number != nullptr) result = static_cast<double>(*number);
    };
    (take(std::any_cast<Numbers>(&value)), ...);
    return result;
}

/// Absent for what isn't a number, such as a bool or a character.
std::optional<double> toNumber(const std::any& value) {
    return toDouble<float, double, long double, signed char, unsigned char, short, unsigned short, int, unsigned, long,
                    unsigned long, long long, unsigned long long>(value);
}

std::string text(double number) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%g", number);
    return digits;
}

std::string wanted(const Parameter& parameter) {
    switch (parameter.kind) {
        case ParameterKind::number:
            return "a number from " + text(parameter.minimum) + " to " + text(parameter.maximum);
        case ParameterKind::table:
            return "a std::shared_ptr<const LookUpTable>";
        case ParameterKind::picture:
            return "a std::shared_ptr<Texture>";
    }
    return {};
}

/// The value as a parameter keeps it; empty when it can't.
std::any accepted(const Parameter& parameter, const std::any& value) {
    switch (parameter.kind) {
        case ParameterKind::number:
            if (const auto number = toNumber(value)) {
                constexpr double most = std::numeric_limits<float>::max();
                const auto rounded = static_cast<float>(std::clamp(*number, -most, most));
                if (rounded >= parameter.minimum && rounded <= parameter.maximum) return rounded;
            }
            break;
        case ParameterKind::table:
            if (value.type() == typeid(std::shared_ptr<const LookUpTable>)) return value;
            break;
        case ParameterKind::picture:
            if (value.type() == typeid(std::shared_ptr<Texture>)) return value;
            break;
    }
    return {};
}

}  // namespace

EffectPass::Builder::Builder(const EffectDescription& effectOfPass, std::shared_ptr<Device> deviceOfPass,
                             ShaderLibrary& libraryOfFunctions, std::shared_ptr<Texture> inputOfPass,
                             std::shared_ptr<Texture> outputOfPass)
    : effect(effectOfPass),
      device(std::move(deviceOfPass)),
      input(std::move(inputOfPass)),
      output(std::move(outputOfPass)),
      library_(libraryOfFunctions) {}

template <class Part>
std::shared_ptr<Part> EffectPass::Builder::noted(std::shared_ptr<Part> part) {
    isComplete_ = isComplete_ && part != nullptr;
    return part;
}

std::shared_ptr<Step> EffectPass::Builder::step(const std::string& function,
                                                const std::vector<std::shared_ptr<Texture>>& textures) {
    return isComplete_ ? noted(Step::create(device, library_, function, textures)) : nullptr;
}

std::shared_ptr<Texture> EffectPass::Builder::texture(Int width, Int height, MTLPixelFormat pixelFormat) {
    return noted(device->makeTexture(width, height, pixelFormat, MTLTextureUsage::unknown));
}

std::shared_ptr<Sampler> EffectPass::Builder::linearSampler() {
    constexpr auto linear = MTLSamplerMinMagFilter::linear;
    constexpr auto clamp = MTLSamplerAddressMode::clampToEdge;
    return noted(device->makeSampler(linear, linear, clamp, clamp, 1, MTLSamplerBorderColor::transparentBlack));
}

EffectPass::EffectPass(const Builder& build) : effect_(build.effect) {
    for (const Parameter& each : effect_.parameters) {
        values_.push_back(each.kind == ParameterKind::number ? std::any(each.initial) : std::any());
    }
}

const std::any* EffectPass::find(std::string_view property) const {
    const auto& parameters = effect_.parameters;
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [property](const Parameter& each) { return each.name == property; });
    return found != parameters.end() ? &values_[static_cast<std::size_t>(found - parameters.begin())] : nullptr;
}

void EffectPass::set(const std::string& property, const std::any& value) {
    const std::any* const held = find(property);
    if (held == nullptr) return;
    const auto index = static_cast<std::size_t>(held - values_.data());
    const Parameter& parameter = effect_.parameters[index];
    if (std::any kept = accepted(parameter, value); kept.has_value()) {
        values_[index] = std::move(kept);
        return;
    }
    const auto number = toNumber(value);
    Logger::gfx().error("The effect '%s' takes %s as '%s', not %s.", std::string(effect_.name).c_str(),
                        wanted(parameter).c_str(), property.c_str(),
                        number ? text(*number).c_str() : "a value of another type");
}

std::any EffectPass::get(const std::string& property) const {
    const std::any* const value = find(property);
    return value != nullptr ? *value : std::any();
}

bool EffectPass::has(const std::string& property) const {
    return find(property) != nullptr;
}

float EffectPass::number(std::string_view property) const {
    const std::any* const value = find(property);
    assert(value != nullptr);
    return std::any_cast<float>(*value);
}

void EffectPass::sourceResolutionDidChange(Int /*width*/, Int /*height*/) {}

void EffectPass::outputResolutionDidChange(Int /*width*/, Int /*height*/) {}

}  // namespace ondrix::effects
