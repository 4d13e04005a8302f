#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/core/ManagedResource.h>
#include <ondrix/shaders/ShaderResource.h>

namespace ondrix {

/// How a shader filters and addresses a texture; made by `Device::makeSampler` and never changed. Keeps its device
/// alive.
class Sampler : public ManagedResource, public ShaderResource {
public:
    [[nodiscard]] const std::shared_ptr<Device>& device() const noexcept { return device_; }

    [[nodiscard]] ShaderResourceType resourceType() const override;

    void prepareForRelease() override;  ///< does nothing
    void cleanup() override;            ///< does nothing

    /// False, with a message, for a shader of the wrong kind.
    [[nodiscard]] bool bind(MTLRenderCommandEncoder& encoder, const Shader& shader, Int index) override;
    [[nodiscard]] bool bind(MTLComputeCommandEncoder& encoder, const Shader& shader, Int index) override;

private:
    friend class Device;

    Sampler(std::shared_ptr<Device> device, std::shared_ptr<MTLSamplerState> mtlSampler);

    std::shared_ptr<Device> device_;
    std::shared_ptr<MTLSamplerState> mtlSampler_;
};

}  // namespace ondrix
