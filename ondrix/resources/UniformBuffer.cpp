#include <cassert>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/resources/UniformBuffer.h>
#include <ondrix/shaders/Shader.h>

namespace ondrix {

namespace {

bool refuse(ShaderType type) {
    Logger::gfx().error("Unsupported shader type %s for UniformBuffer.", rawValue(type).data());
    return false;
}

}  // namespace

UniformBuffer::UniformBuffer(std::shared_ptr<Device> device) : device_(std::move(device)) {
    assert(device_ != nullptr);
}

std::shared_ptr<UniformBuffer> UniformBuffer::create(std::shared_ptr<Device> device) {
    return Failure::orAbsent([&] { return std::shared_ptr<UniformBuffer>(new UniformBuffer(std::move(device))); });
}

ShaderResourceType UniformBuffer::resourceType() const {
    return ShaderResourceType::uniformBuffer;
}

const void* UniformBuffer::currentData() const {
    return currentData_;
}

void UniformBuffer::setCurrentData(const void* data) {
    currentData_ = data;
}

Int UniformBuffer::currentLength() const {
    return currentLength_;
}

void UniformBuffer::setCurrentLength(Int length) {
    currentLength_ = length;
}

void UniformBuffer::updateBufferContent(const void* withData, Int length) {
    setCurrentData(withData);
    setCurrentLength(length);
}

void UniformBuffer::prepareForRelease() {}

void UniformBuffer::cleanup() {
    setCurrentData(nullptr);
    setCurrentLength(0);
}

bool UniformBuffer::hasData() const {
    if (currentData() != nullptr && currentLength() >= 1) return true;
    Logger::gfx().error("UniformBuffer: No data to bind.");
    return false;
}

bool UniformBuffer::bind(MTLRenderCommandEncoder& encoder, const Shader& shader, Int index) {
    if (!hasData()) return false;
    switch (shader.shaderType()) {
        case ShaderType::vertexShader:
            encoder.setVertexBytes(currentData(), currentLength(), index);
            return true;
        case ShaderType::fragmentShader:
            encoder.setFragmentBytes(currentData(), currentLength(), index);
            return true;
        case ShaderType::computeShader:
            break;
    }
    return refuse(shader.shaderType());
}

bool UniformBuffer::bind(MTLComputeCommandEncoder& encoder, const Shader& shader, Int index) {
    if (!hasData()) return false;
    if (shader.shaderType() != ShaderType::computeShader) return refuse(shader.shaderType());
    encoder.setBytes(currentData(), currentLength(), index);
    return true;
}

}  // namespace ondrix
