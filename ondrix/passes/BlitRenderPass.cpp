#include <cassert>
#include <utility>

#include <ondrix/core/FatalError.h>
#include <ondrix/passes/BlitRenderPass.h>
#include <ondrix/passes/PassParts.h>

namespace ondrix {

BlitRenderPass::BlitRenderPass(std::shared_ptr<Device> device, std::shared_ptr<Shader> vertexShader,
                               std::shared_ptr<Shader> fragmentShader, std::shared_ptr<Mesh> mesh,
                               std::shared_ptr<Texture> inputTexture, std::shared_ptr<Sampler> sampler,
                               std::shared_ptr<Texture> outputTexture, MTLPixelFormat outputPixelFormat)
    : RenderPass(std::move(device), std::move(vertexShader), std::move(fragmentShader), std::move(mesh),
                 std::move(outputTexture), outputPixelFormat),
      inputTexture_(std::move(inputTexture)),
      sampler_(std::move(sampler)) {
    this->fragmentShader()->setShaderResource(sampler_, 0);
    this->fragmentShader()->setShaderResource(inputTexture_, 0);
}

std::shared_ptr<BlitRenderPass> BlitRenderPass::create(std::shared_ptr<Device> device,
                                                       std::shared_ptr<Texture> inputTexture,
                                                       std::shared_ptr<Texture> outputTexture,
                                                       MTLPixelFormat outputPixelFormat) {
    assert(device != nullptr && inputTexture != nullptr && outputTexture != nullptr);
    auto sampler = makeLinearSampler(*device);
    if (sampler == nullptr) fatalError("Failed to create sampler state for the BlitRenderPass.");
    const auto library = frameworkShaderLibrary(*device);
    auto shaders = library->makeShaders("Ondrix::Blit::VS_Main", "Ondrix::Blit::FS_Main");
    if (shaders.vertex == nullptr || shaders.fragment == nullptr) {
        fatalError("Failed to load shaders for BlitRenderPass.");
    }
    auto mesh = requiredQuadMesh(*device);
    return std::shared_ptr<BlitRenderPass>(
        new BlitRenderPass(std::move(device), std::move(shaders.vertex), std::move(shaders.fragment), std::move(mesh),
                           std::move(inputTexture), std::move(sampler), std::move(outputTexture), outputPixelFormat));
}

void BlitRenderPass::set(std::shared_ptr<Texture> inputTexture) {
    assert(inputTexture != nullptr);
    inputTexture_.swap(inputTexture);
    fragmentShader()->setShaderResource(inputTexture_, 0);
}

}  // namespace ondrix
