#pragma once

#include <array>
#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/platform/metal/MTLCommandQueue.h>

namespace ondrix {

/// One of the framework's compute functions on frames, ready to be encoded. Safe to use from any thread.
class FrameFunction {
public:
    static constexpr int textureCount = 4;
    using Textures = std::array<std::shared_ptr<MTLTexture>, textureCount>;

    /// Null, with a message, where the framework's library or the function in it is missing.
    [[nodiscard]] static std::unique_ptr<FrameFunction> make(MTLDevice& device, const char* name);

    /// A struct for a buffer slot; none where `bytes` is null.
    struct Bytes {
        const void* bytes = nullptr;
        std::int64_t length = 0;
    };

    /// Over a grid of the target's size; textures and constants go to their slots, and null ones nowhere. False, with a
    /// message, when the command buffer takes no encoder.
    [[nodiscard]] bool encode(MTLCommandBuffer& commandBuffer, const Textures& textures, const MTLTexture& target,
                              Bytes constants, Bytes more) const;

private:
    explicit FrameFunction(std::shared_ptr<MTLComputePipelineState> pipelineState);

    std::shared_ptr<MTLComputePipelineState> pipelineState_;
};

}  // namespace ondrix
