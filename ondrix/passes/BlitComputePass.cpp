#include <cassert>
#include <utility>

#include <ondrix/core/FatalError.h>
#include <ondrix/passes/BlitComputePass.h>
#include <ondrix/passes/PassParts.h>

namespace ondrix {

BlitComputePass::BlitComputePass(std::shared_ptr<Device> device, std::shared_ptr<Shader> computeShader,
                                 std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture)
    : ComputePass(std::move(device), std::move(computeShader), std::move(outputTexture)),
      inputTexture_(std::move(inputTexture)) {}

std::shared_ptr<BlitComputePass> BlitComputePass::create(std::shared_ptr<Device> device,
                                                         std::shared_ptr<Texture> inputTexture,
                                                         std::shared_ptr<Texture> outputTexture) {
    assert(device != nullptr && inputTexture != nullptr && outputTexture != nullptr);
    const auto library = frameworkShaderLibrary(*device);
    auto shader = library->makeShader("Ondrix::Blit::CS_Main", ShaderType::computeShader);
    if (shader == nullptr) fatalError("Failed to load compute shader for the blit pass.");
    shader->setShaderResource(inputTexture, 0);
    shader->setShaderResource(outputTexture, 1);
    return std::shared_ptr<BlitComputePass>(
        new BlitComputePass(std::move(device), std::move(shader), std::move(inputTexture), std::move(outputTexture)));
}

void BlitComputePass::set(std::shared_ptr<Texture> inputTexture) {
    assert(inputTexture != nullptr);
    inputTexture_.swap(inputTexture);
    shader()->setShaderResource(inputTexture_, 0);
}

}  // namespace ondrix
