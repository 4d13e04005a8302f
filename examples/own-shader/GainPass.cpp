#include "GainPass.h"

std::shared_ptr<GainPass> GainPass::create(const std::shared_ptr<ondrix::Device>& device,
                                           ondrix::ShaderLibrary& library, std::shared_ptr<ondrix::Texture> input,
                                           const std::shared_ptr<ondrix::Texture>& output) {
    const auto shader = library.makeShader("Example::Gain", ondrix::ShaderType::computeShader);
    if (!shader) return nullptr;
    auto pass = std::make_shared<GainPass>();
    pass->buffer_ = device->makeConstantBuffer(&pass->settings_, sizeof pass->settings_);
    shader->setShaderResource(std::move(input), 0);
    shader->setShaderResource(output, 1);
    shader->setShaderResource(pass->buffer_, 0);
    pass->pass_ = ondrix::ComputePass::create(device, shader, output);
    return pass;
}

void GainPass::set(const std::string& property, const std::any& value) {
    const auto* const gain = std::any_cast<float>(&value);
    if (!has(property) || gain == nullptr) return;
    settings_.gain = *gain;
    buffer_->updateBufferContent(&settings_, sizeof settings_);
}

std::any GainPass::get(const std::string& property) const {
    return has(property) ? std::any(settings_.gain) : std::any();
}
