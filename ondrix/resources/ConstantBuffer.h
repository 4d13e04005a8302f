#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/core/ManagedResource.h>
#include <ondrix/shaders/ShaderResource.h>

namespace ondrix {

/// A block of shader constants in a GPU buffer, made by `Device::makeConstantBuffer`; its length never changes. Keeps
/// its device alive. Nothing orders an update against GPU work that was committed earlier and still reads the buffer:
/// such work may see any mix of old and new 32-bit words, none of them torn.
class ConstantBuffer : public ManagedResource, public ShaderResource {
public:
    [[nodiscard]] const std::shared_ptr<Device>& device() const noexcept { return device_; }

    [[nodiscard]] ShaderResourceType resourceType() const override;

    void prepareForRelease() override;  ///< does nothing
    void cleanup() override;            ///< does nothing

    /// Overwrites the first `length` bytes and leaves the rest; the bytes may overlap the buffer's own. `length` must
    /// be 0 to the length that the buffer was made with, which nothing checks, in no build.
    virtual void updateBufferContent(const void* withData, Int length);

    /// False, with a message, for a shader of the wrong kind.
    [[nodiscard]] bool bind(MTLRenderCommandEncoder& encoder, const Shader& shader, Int index) override;
    [[nodiscard]] bool bind(MTLComputeCommandEncoder& encoder, const Shader& shader, Int index) override;

private:
    friend class Device;

    ConstantBuffer(std::shared_ptr<Device> device, std::shared_ptr<MTLBuffer> mtlBuffer);

    std::shared_ptr<Device> device_;
    std::shared_ptr<MTLBuffer> mtlBuffer_;
};

}  // namespace ondrix
