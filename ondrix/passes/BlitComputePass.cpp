#include <cassert>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/passes/BlitComputePass.h>
#include <ondrix/passes/PassParts.h>

namespace ondrix {

BlitComputePass::BlitComputePass(std::shared_ptr<Device> device, std::shared_ptr<Shader> computeShader,
                                 std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture)
    : ComputePass(std::move(device), std::move(computeShader), std::move(outputTexture)),
      inputTexture_(std::move(inputTexture)) {}

std::shared_ptr<BlitComputePass> BlitComputePass::make(IfMissing ifMissing, std::shared_ptr<Device> device,
                                                       std::shared_ptr<Texture> inputTexture,
                                                       std::shared_ptr<Texture> outputTexture) {
    return ofReadyMadeParts([&]() -> std::shared_ptr<BlitComputePass> {
        assert(device != nullptr && inputTexture != nullptr && outputTexture != nullptr);
        const auto library = frameworkShaderLibrary(*device, ifMissing);
        if (library == nullptr) return nullptr;
        auto shader = library->makeShader("Ondrix::Blit::CS_Main", ShaderType::computeShader);
        if (shader == nullptr) return lacks(ifMissing, "Failed to load compute shader for the blit pass.");
        shader->setShaderResource(inputTexture, 0);
        shader->setShaderResource(outputTexture, 1);
        std::shared_ptr<BlitComputePass> pass(new BlitComputePass(std::move(device), std::move(shader),
                                                                  std::move(inputTexture), std::move(outputTexture)));
        return ifMissing == IfMissing::fail && !pass->hasPipeline() ? nullptr : pass;
    });
}

void BlitComputePass::set(std::shared_ptr<Texture> inputTexture) {
    assert(inputTexture != nullptr);
    Failure::wholeOrAbsent([&] {
        shader()->setShaderResource(inputTexture, 0);
        inputTexture_.swap(inputTexture);
    });
}

}  // namespace ondrix
