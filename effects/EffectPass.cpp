#include "EffectPass.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include <ondrix/effects/LookUpTable.h>

namespace ondrix::effects {

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
    switch (parameter.kind) {
        case ParameterKind::number:
            if (const auto* const number = std::any_cast<float>(&value); number != nullptr && !std::isnan(*number)) {
                values_[index] = std::clamp(*number, parameter.minimum, parameter.maximum);
            }
            break;
        case ParameterKind::table:
            if (value.type() == typeid(std::shared_ptr<const LookUpTable>)) values_[index] = value;
            break;
        case ParameterKind::picture:
            if (value.type() == typeid(std::shared_ptr<Texture>)) values_[index] = value;
            break;
    }
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
