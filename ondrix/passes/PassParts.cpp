#include <ondrix/base/FatalError.h>
#include <ondrix/core/Logger.h>
#include <ondrix/passes/PassParts.h>

namespace ondrix {

namespace {

float aspectRatio(Size2<Int> size) {
    return static_cast<float>(size.width()) / static_cast<float>(size.height());
}

}  // namespace

simd_float2 contentScale(ContentMode contentMode, Size2<Int> inputSize, Size2<Int> outputSize) {
    if (contentMode == ContentMode::scaleToFill) return {1.0f, 1.0f};
    if (inputSize.height() == 0 || outputSize.height() == 0) return {0.0f, 0.0f};
    const float input = aspectRatio(inputSize);
    const float output = aspectRatio(outputSize);
    const bool fill = contentMode == ContentMode::scaleAspectFill;
    const bool narrower = input < output;
    if (fill == narrower) return {1.0f, output / input};
    return {input / output, 1.0f};
}

std::nullptr_t lacks(IfMissing ifMissing, const char* message) {
    if (ifMissing == IfMissing::stopProcess && errno != ENOMEM) fatalError(message);
    Logger::gfx().error("%s", message);
    return nullptr;
}

std::shared_ptr<Sampler> makeLinearSampler(Device& device) {
    return device.makeSampler(MTLSamplerMinMagFilter::linear, MTLSamplerMinMagFilter::linear,
                              MTLSamplerAddressMode::clampToEdge, MTLSamplerAddressMode::clampToEdge, 1,
                              MTLSamplerBorderColor::transparentBlack);
}

std::shared_ptr<ShaderLibrary> frameworkShaderLibrary(Device& device, IfMissing ifMissing) {
    auto library = device.makeFrameworkShaderLibrary(nullptr);
    if (library == nullptr) return lacks(ifMissing, "Failed to get the shader library from the GFX device.");
    return library;
}

std::shared_ptr<Mesh> requiredQuadMesh(const Device& device, IfMissing ifMissing) {
    auto mesh = device.defaultQuadMesh();
    if (mesh == nullptr) return lacks(ifMissing, "Failed to get the quad mesh from the GFX device.");
    return mesh;
}

}  // namespace ondrix
