#include <cassert>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/passes/ComputePass.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

ComputePass::ComputePass(std::shared_ptr<Device> device, std::shared_ptr<Shader> computeShader,
                         std::shared_ptr<Texture> outputTexture)
    : device_(std::move(device)), shader_(std::move(computeShader)), outputTexture_(std::move(outputTexture)) {
    assert(device_ != nullptr && shader_ != nullptr && outputTexture_ != nullptr);
    NSError error;
    pipelineState_ =
        os::orThrow([&] { return device_->mtlDevice()->makeComputePipelineState(shader_->mtlFunction(), &error); });
    if (pipelineState_ == nullptr) {
        Logger::gfx().error("Failed to create the compute pipeline state: %s", error.localizedDescription().c_str());
    }
}

std::shared_ptr<ComputePass> ComputePass::create(std::shared_ptr<Device> device, std::shared_ptr<Shader> computeShader,
                                                 std::shared_ptr<Texture> outputTexture) {
    return Failure::orAbsent([&] {
        return std::shared_ptr<ComputePass>(
            new ComputePass(std::move(device), std::move(computeShader), std::move(outputTexture)));
    });
}

std::shared_ptr<ComputePass> ComputePass::create(std::shared_ptr<Device> device, std::shared_ptr<Shader> computeShader,
                                                 std::shared_ptr<Texture> outputTexture, NSError* error) {
    return Failure::toldTo(error, [&] {
        auto pass = create(std::move(device), std::move(computeShader), std::move(outputTexture));
        return pass != nullptr && pass->hasPipeline() ? pass : nullptr;
    });
}

std::shared_ptr<MTLComputePipelineState> ComputePass::pipelineState() const {
    return pipelineState_;
}

void ComputePass::setPipelineState(std::shared_ptr<MTLComputePipelineState> pipelineState) {
    pipelineState_ = std::move(pipelineState);
}

ThreadGroupDispatchSize ComputePass::getThreadGroupDispatchSize(const MTLComputePipelineState& pipelineState) const {
    const auto output = outputTexture_->mtlTexture();
    if (output == nullptr) return {{1, 1, 1}, {1, 1, 1}};
    return threadGroupDispatchSize(pipelineState, output->width(), output->height());
}

bool ComputePass::encode(MTLCommandBuffer& commandBuffer) {
    return Failure::orAbsent([&] {
        if (outputTexture_->mtlTexture() == nullptr) {
            Logger::gfx().error("Failed to encode compute pass: no output texture.");
            return false;
        }
        const auto pipeline = pipelineState();
        const auto encoder = pipeline != nullptr ? commandBuffer.makeComputeCommandEncoder() : nullptr;
        if (encoder == nullptr) {
            Failure::because(pipeline == nullptr ? "The pass has no pipeline."
                                                 : "The command buffer makes no compute encoder.");
            return false;
        }

        encoder->setComputePipelineState(pipeline);
        const bool encoded = shader_->encode(*encoder);
        if (encoded) {
            const auto [threadGroupSize, threadGroupsPerGrid] = getThreadGroupDispatchSize(*pipeline);
            encoder->dispatchThreadgroups(threadGroupsPerGrid, threadGroupSize);
        } else {
            Logger::gfx().error("Failed to encode the compute shader '%s'.", shader_->mtlFunction()->name().c_str());
        }
        encoder->endEncoding();
        return encoded;
    });
}

void ComputePass::sourceResolutionDidChange(Int /*width*/, Int /*height*/) {}

void ComputePass::outputResolutionDidChange(Int /*width*/, Int /*height*/) {}

}  // namespace ondrix
