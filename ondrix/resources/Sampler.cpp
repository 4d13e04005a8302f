#include <utility>

#include <ondrix/core/Logger.h>
#include <ondrix/resources/Sampler.h>
#include <ondrix/shaders/Shader.h>

namespace ondrix {

namespace {

bool refuse(ShaderType type) {
    Logger::gfx().error("Unsupported shader type %s to bind sampler with.", rawValue(type).data());
    return false;
}

}  // namespace

Sampler::Sampler(std::shared_ptr<Device> device, std::shared_ptr<MTLSamplerState> mtlSampler)
    : device_(std::move(device)), mtlSampler_(std::move(mtlSampler)) {}

ShaderResourceType Sampler::resourceType() const {
    return ShaderResourceType::sampler;
}

void Sampler::prepareForRelease() {}

void Sampler::cleanup() {}

bool Sampler::bind(MTLRenderCommandEncoder& encoder, const Shader& shader, Int index) {
    switch (shader.shaderType()) {
        case ShaderType::vertexShader:
            encoder.setVertexSamplerState(mtlSampler_, index);
            return true;
        case ShaderType::fragmentShader:
            encoder.setFragmentSamplerState(mtlSampler_, index);
            return true;
        case ShaderType::computeShader:
            break;
    }
    return refuse(shader.shaderType());
}

bool Sampler::bind(MTLComputeCommandEncoder& encoder, const Shader& shader, Int index) {
    if (shader.shaderType() != ShaderType::computeShader) return refuse(shader.shaderType());
    encoder.setSamplerState(mtlSampler_, index);
    return true;
}

}  // namespace ondrix
