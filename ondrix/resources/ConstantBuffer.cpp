#include <utility>

#include <ondrix/core/Logger.h>
#include <ondrix/resources/ConstantBuffer.h>
#include <ondrix/resources/ConstantBytes.h>
#include <ondrix/shaders/Shader.h>

namespace ondrix {

namespace {

bool refuse(ShaderType type) {
    Logger::gfx().error("Unsupported shader type %s to bind buffer with.", rawValue(type).data());
    return false;
}

}  // namespace

ConstantBuffer::ConstantBuffer(std::shared_ptr<Device> device, std::shared_ptr<MTLBuffer> mtlBuffer)
    : device_(std::move(device)), mtlBuffer_(std::move(mtlBuffer)) {}

ShaderResourceType ConstantBuffer::resourceType() const {
    return ShaderResourceType::constantBuffer;
}

void ConstantBuffer::prepareForRelease() {}

void ConstantBuffer::cleanup() {}

void ConstantBuffer::updateBufferContent(const void* withData, Int length) {
    writeConstants(*mtlBuffer_, withData, length);
}

bool ConstantBuffer::bind(MTLRenderCommandEncoder& encoder, const Shader& shader, Int index) {
    switch (shader.shaderType()) {
        case ShaderType::vertexShader:
            encoder.setVertexBuffer(mtlBuffer_, 0, index);
            return true;
        case ShaderType::fragmentShader:
            encoder.setFragmentBuffer(mtlBuffer_, 0, index);
            return true;
        case ShaderType::computeShader:
            break;
    }
    return refuse(shader.shaderType());
}

bool ConstantBuffer::bind(MTLComputeCommandEncoder& encoder, const Shader& shader, Int index) {
    if (shader.shaderType() != ShaderType::computeShader) return refuse(shader.shaderType());
    encoder.setBuffer(mtlBuffer_, 0, index);
    return true;
}

}  // namespace ondrix
