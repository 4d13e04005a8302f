#include <cassert>
#include <string_view>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/shaders/Shader.h>

namespace ondrix {

std::size_t Shader::ShaderResourceKeyHash::operator()(const ShaderResourceKey& key) const noexcept {
    return std::hash<Int>{}(key.index) * 31 + std::hash<ShaderResourceType>{}(key.type);
}

Shader::Shader(std::shared_ptr<Device> device, ShaderType shaderType, std::shared_ptr<MTLFunction> mtlFunction)
    : device_(std::move(device)), shaderType_(shaderType), mtlFunction_(std::move(mtlFunction)) {}

void Shader::prepareForRelease() {
    clearShaderResources();
}

void Shader::cleanup() {}

void Shader::setShaderResource(std::shared_ptr<ShaderResource> resource, Int index) {
    assert(resource != nullptr);
    Failure::orAbsent([&] {
        const ShaderResourceKey key{index, resource->resourceType()};
        changeableResources()[key].swap(resource);  // the old one goes when the map is in order again
    });
}

void Shader::removeShaderResource(ShaderResourceType type, Int index) {
    if (shaderResMap_ == nullptr) return;
    Failure::orAbsent([&] { changeableResources().extract({index, type}); });
}

void Shader::clearShaderResources() {
    std::exchange(shaderResMap_, nullptr);
}

Shader::ResourceMap& Shader::changeableResources() {
    if (shaderResMap_ == nullptr) shaderResMap_ = std::make_shared<ResourceMap>();
    if (shaderResMap_.use_count() > 1) shaderResMap_ = std::make_shared<ResourceMap>(*shaderResMap_);
    return *shaderResMap_;
}

template <class Encoder>
bool Shader::bindResources(Encoder& encoder) const {
    const std::shared_ptr<const ResourceMap> resources = shaderResMap_;
    if (resources == nullptr) return true;
    for (const auto& [key, resource] : *resources) {
        if (!resource->bind(encoder, *this, key.index)) return false;
    }
    return true;
}

bool Shader::encode(MTLRenderCommandEncoder& encoder) const {
    if (shaderType_ == ShaderType::computeShader) {
        Logger::gfx().error("Unable to encode render commands. Shader type '%s' is not supported.",
                            rawValue(shaderType_).data());
        return false;
    }
    return bindResources(encoder);
}

bool Shader::encode(MTLComputeCommandEncoder& encoder) const {
    return shaderType_ == ShaderType::computeShader && bindResources(encoder);
}

}  // namespace ondrix
