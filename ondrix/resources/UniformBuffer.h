#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/core/ManagedResource.h>
#include <ondrix/shaders/ShaderResource.h>

namespace ondrix {

/// A block of shader constants in the caller's memory, copied into the commands each time it is bound. It owns no bytes
/// and no GPU memory; it keeps its device alive. Starts without data.
class UniformBuffer : public ManagedResource, public ShaderResource {
public:
    [[nodiscard]] static std::shared_ptr<UniformBuffer> create(std::shared_ptr<Device> device);

    [[nodiscard]] const std::shared_ptr<Device>& device() const noexcept { return device_; }

    [[nodiscard]] ShaderResourceType resourceType() const override;

    /// Remembers where the `length` bytes lie. They must stay valid until the last `bind` that is to use them has
    /// returned, and may change afterwards.
    virtual void updateBufferContent(const void* withData, Int length);

    void prepareForRelease() override;  ///< does nothing
    void cleanup() override;            ///< forgets the data

    /// False, with a message, without data, and for a shader of the wrong kind.
    [[nodiscard]] bool bind(MTLRenderCommandEncoder& encoder, const Shader& shader, Int index) override;
    [[nodiscard]] bool bind(MTLComputeCommandEncoder& encoder, const Shader& shader, Int index) override;

protected:
    explicit UniformBuffer(std::shared_ptr<Device> device);

    [[nodiscard]] virtual const void* currentData() const;
    virtual void setCurrentData(const void* data);
    [[nodiscard]] virtual Int currentLength() const;
    virtual void setCurrentLength(Int length);

private:
    [[nodiscard]] bool hasData() const;

    std::shared_ptr<Device> device_;
    const void* currentData_ = nullptr;
    Int currentLength_ = 0;
};

}  // namespace ondrix
