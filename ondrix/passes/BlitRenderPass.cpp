#include <cassert>
#include <utility>

#include <ondrix/core/Failure.h>
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
    return make(IfMissing::stopProcess, std::move(device), std::move(inputTexture), std::move(outputTexture),
                outputPixelFormat);
}

std::shared_ptr<BlitRenderPass> BlitRenderPass::create(std::shared_ptr<Device> device,
                                                       std::shared_ptr<Texture> inputTexture,
                                                       std::shared_ptr<Texture> outputTexture,
                                                       MTLPixelFormat outputPixelFormat, NSError* error) {
    return Failure::toldTo(error, [&] {
        return make(IfMissing::fail, std::move(device), std::move(inputTexture), std::move(outputTexture),
                    outputPixelFormat);
    });
}

std::shared_ptr<BlitRenderPass> BlitRenderPass::make(IfMissing ifMissing, std::shared_ptr<Device> device,
                                                     std::shared_ptr<Texture> inputTexture,
                                                     std::shared_ptr<Texture> outputTexture,
                                                     MTLPixelFormat outputPixelFormat) {
    return ofReadyMadeParts([&]() -> std::shared_ptr<BlitRenderPass> {
        assert(device != nullptr && inputTexture != nullptr && outputTexture != nullptr);
        auto sampler = makeLinearSampler(*device);
        if (sampler == nullptr) return lacks(ifMissing, "Failed to create sampler state for the BlitRenderPass.");
        const auto library = frameworkShaderLibrary(*device, ifMissing);
        if (library == nullptr) return nullptr;
        auto shaders = library->makeShaders("Ondrix::Blit::VS_Main", "Ondrix::Blit::FS_Main");
        if (!shaders) return lacks(ifMissing, "Failed to load shaders for BlitRenderPass.");
        auto mesh = requiredQuadMesh(*device, ifMissing);
        if (mesh == nullptr) return nullptr;
        std::shared_ptr<BlitRenderPass> pass(new BlitRenderPass(
            std::move(device), std::move(shaders.vertex), std::move(shaders.fragment), std::move(mesh),
            std::move(inputTexture), std::move(sampler), std::move(outputTexture), outputPixelFormat));
        return ifMissing == IfMissing::fail && !pass->hasPipeline() ? nullptr : pass;
    });
}

void BlitRenderPass::set(std::shared_ptr<Texture> inputTexture) {
    assert(inputTexture != nullptr);
    Failure::wholeOrAbsent([&] {
        fragmentShader()->setShaderResource(inputTexture, 0);
        inputTexture_.swap(inputTexture);
    });
}

}  // namespace ondrix
