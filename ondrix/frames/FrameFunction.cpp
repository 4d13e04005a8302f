#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/FrameworkBundle.h>
#include <ondrix/core/Logger.h>
#include <ondrix/core/ThreadGroupDispatchSize.h>
#include <ondrix/frames/FrameFunction.h>

namespace ondrix {

FrameFunction::FrameFunction(std::shared_ptr<MTLComputePipelineState> pipelineState)
    : pipelineState_(std::move(pipelineState)) {}

std::unique_ptr<FrameFunction> FrameFunction::make(MTLDevice& device, const char* name) {
    NSError reason;
    const auto library = device.makeDefaultLibrary(*frameworkBundle(), &reason);
    auto function = library != nullptr ? library->makeFunction(name) : nullptr;
    auto pipelineState = function != nullptr ? device.makeComputePipelineState(std::move(function), &reason) : nullptr;
    if (pipelineState == nullptr) {
        Failure::because(reason);
        Logger::gfx().error("Failed to make the function '%s' for frames.", name);
        return nullptr;
    }
    return std::unique_ptr<FrameFunction>(new FrameFunction(std::move(pipelineState)));
}

bool FrameFunction::encode(MTLCommandBuffer& commandBuffer, const Textures& textures, const MTLTexture& target,
                           Bytes constants, Bytes more) const {
    const auto encoder = commandBuffer.makeComputeCommandEncoder();
    if (encoder == nullptr) {
        Logger::gfx().error("Failed to make a compute command encoder for a frame.");
        return false;
    }
    encoder->setComputePipelineState(pipelineState_);
    for (std::size_t slot = 0; slot < textures.size(); ++slot) {
        if (textures[slot] != nullptr) encoder->setTexture(textures[slot], static_cast<std::int64_t>(slot));
    }
    if (constants.bytes != nullptr) encoder->setBytes(constants.bytes, constants.length, 0);
    if (more.bytes != nullptr) encoder->setBytes(more.bytes, more.length, 1);
    const auto size = threadGroupDispatchSize(*pipelineState_, target.width(), target.height());
    encoder->dispatchThreadgroups(size.threadGroupsPerGrid, size.threadGroupSize);
    encoder->endEncoding();
    return true;
}

}  // namespace ondrix
