#include "Step.h"

#include <utility>

namespace ondrix::effects {

std::shared_ptr<Step> Step::create(const std::shared_ptr<Device>& device, ShaderLibrary& library,
                                   const std::string& function, const std::vector<std::shared_ptr<Texture>>& textures) {
    auto shader = library.makeShader(function, ShaderType::computeShader);
    if (shader == nullptr) return nullptr;
    auto step = std::make_shared<Step>();
    step->shader_ = std::move(shader);
    step->constants_ = UniformBuffer::create(device);
    for (std::size_t slot = 0; slot < textures.size(); ++slot) {
        if (textures[slot] != nullptr) step->setResource(textures[slot], static_cast<Int>(slot));
    }
    step->pass_ = ComputePass::create(device, step->shader_, textures.back(), nullptr);
    return step->pass_ != nullptr ? step : nullptr;
}

void Step::setResource(std::shared_ptr<ShaderResource> resource, Int slot) {
    shader_->setShaderResource(std::move(resource), slot);
}

}  // namespace ondrix::effects
