#include <cassert>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/passes/RenderPass.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

RenderPass::RenderPass(std::shared_ptr<Device> device, std::shared_ptr<Shader> vertexShader,
                       std::shared_ptr<Shader> fragmentShader, std::shared_ptr<Mesh> mesh,
                       std::shared_ptr<Texture> outputTexture, MTLPixelFormat outputPixelFormat)
    : device_(std::move(device)),
      vertexShader_(std::move(vertexShader)),
      fragmentShader_(std::move(fragmentShader)),
      outputTexture_(std::move(outputTexture)),
      mesh_(std::move(mesh)) {
    assert(device_ != nullptr && vertexShader_ != nullptr && fragmentShader_ != nullptr);
    assert(outputTexture_ != nullptr && mesh_ != nullptr);
    MTLRenderPipelineDescriptor descriptor;
    descriptor.vertexFunction = vertexShader_->mtlFunction();
    descriptor.fragmentFunction = fragmentShader_->mtlFunction();
    descriptor.vertexDescriptor = mesh_->vertexDescriptor();
    descriptor.colorAttachment0PixelFormat = outputPixelFormat;
    NSError error;
    pipelineState_ = os::orThrow([&] { return device_->mtlDevice()->makeRenderPipelineState(descriptor, &error); });
    if (pipelineState_ == nullptr) {
        Logger::gfx().error("Failed to create the render pipeline state: %s", error.localizedDescription().c_str());
    }
}

std::shared_ptr<RenderPass> RenderPass::create(std::shared_ptr<Device> device, std::shared_ptr<Shader> vertexShader,
                                               std::shared_ptr<Shader> fragmentShader, std::shared_ptr<Mesh> mesh,
                                               std::shared_ptr<Texture> outputTexture,
                                               MTLPixelFormat outputPixelFormat) {
    return Failure::orAbsent([&] {
        return std::shared_ptr<RenderPass>(new RenderPass(std::move(device), std::move(vertexShader),
                                                          std::move(fragmentShader), std::move(mesh),
                                                          std::move(outputTexture), outputPixelFormat));
    });
}

std::shared_ptr<RenderPass> RenderPass::create(std::shared_ptr<Device> device, std::shared_ptr<Shader> vertexShader,
                                               std::shared_ptr<Shader> fragmentShader, std::shared_ptr<Mesh> mesh,
                                               std::shared_ptr<Texture> outputTexture, MTLPixelFormat outputPixelFormat,
                                               NSError* error) {
    return Failure::toldTo(error, [&] {
        auto pass = create(std::move(device), std::move(vertexShader), std::move(fragmentShader), std::move(mesh),
                           std::move(outputTexture), outputPixelFormat);
        return pass != nullptr && pass->hasPipeline() ? pass : nullptr;
    });
}

bool RenderPass::encode(MTLCommandBuffer& commandBuffer) {
    return Failure::orAbsent([&] {
        MTLRenderPassDescriptor descriptor;
        descriptor.colorAttachment0Texture = outputTexture_->mtlTexture();
        if (descriptor.colorAttachment0Texture == nullptr || pipelineState_ == nullptr) {
            Failure::because(pipelineState_ == nullptr ? "The pass has no pipeline."
                                                       : "The output texture has no image.");
            return false;
        }
        descriptor.colorAttachment0LoadAction = MTLLoadAction::clear;
        descriptor.colorAttachment0StoreAction = MTLStoreAction::store;

        const auto encoder = commandBuffer.makeRenderCommandEncoder(descriptor);
        if (encoder == nullptr) {
            Failure::because("The command buffer makes no render encoder.");
            return false;
        }
        const bool encoded = encodeDraw(*encoder);
        encoder->endEncoding();
        return encoded;
    });
}

bool RenderPass::encodeDraw(MTLRenderCommandEncoder& encoder) const {
    encoder.setRenderPipelineState(pipelineState_);
    if (!vertexShader_->encode(encoder)) {
        Logger::gfx().error("Failed to encode the vertex shader '%s'.", vertexShader_->mtlFunction()->name().c_str());
        return false;
    }
    if (!fragmentShader_->encode(encoder)) {
        Logger::gfx().error("Failed to encode the fragment shader '%s'.",
                            fragmentShader_->mtlFunction()->name().c_str());
        return false;
    }
    if (!mesh_->encode(encoder)) {
        Logger::gfx().error("Failed to encode the mesh.");
        return false;
    }
    return true;
}

void RenderPass::sourceResolutionDidChange(Int /*width*/, Int /*height*/) {}

void RenderPass::outputResolutionDidChange(Int /*width*/, Int /*height*/) {}

}  // namespace ondrix
