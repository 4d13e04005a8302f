#include <ondrix/core/FatalError.h>
#include <ondrix/core/FrameworkBundle.h>
#include <ondrix/passes/PassParts.h>

namespace ondrix {

std::shared_ptr<Sampler> makeLinearSampler(Device& device) {
    return device.makeSampler(MTLSamplerMinMagFilter::linear, MTLSamplerMinMagFilter::linear,
                              MTLSamplerAddressMode::clampToEdge, MTLSamplerAddressMode::clampToEdge, 1,
                              MTLSamplerBorderColor::transparentBlack);
}

std::shared_ptr<ShaderLibrary> frameworkShaderLibrary(Device& device) {
    auto library = device.makeDefaultShaderLibrary(*frameworkBundle());
    if (library == nullptr) fatalError("Failed to get the shader library from the GFX device.");
    return library;
}

std::shared_ptr<Mesh> requiredQuadMesh(const Device& device) {
    auto mesh = device.defaultQuadMesh();
    if (mesh == nullptr) fatalError("Failed to get the quad mesh from the GFX device.");
    return mesh;
}

}  // namespace ondrix
