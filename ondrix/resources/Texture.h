#pragma once

#include <memory>
#include <optional>

#include <ondrix/base/MulticastDelegate.h>
#include <ondrix/core/Device.h>
#include <ondrix/core/ManagedResource.h>
#include <ondrix/resources/TextureDelegate.h>
#include <ondrix/shaders/ShaderResource.h>

namespace ondrix {

struct Pixels;

/// One two-dimensional image on a device, made by the factories of `Device`. It can be resized in place: it then
/// replaces its GPU texture by a new one and tells its observers. It keeps its device alive, its observers not. Used
/// from the thread that encodes GPU work.
class Texture : public ManagedResource, public ShaderResource, public std::enable_shared_from_this<Texture> {
protected:
    /// The GPU texture, null when there is none. Everything reads it through this operation, so a subclass that
    /// overrides it supplies what is measured, bound, drawn and resized.
    [[nodiscard]] virtual std::shared_ptr<MTLTexture> mtlTexture() const;
    virtual void setMtlTexture(std::shared_ptr<MTLTexture> mtlTexture);

public:
    [[nodiscard]] const std::shared_ptr<Device>& device() const noexcept { return device_; }

    [[nodiscard]] ShaderResourceType resourceType() const override;
    /// In pixels; 0 without a GPU texture, such as after `cleanup`.
    [[nodiscard]] virtual Size2<Int> size() const;
    [[nodiscard]] virtual Int width() const;
    [[nodiscard]] virtual Int height() const;

    void prepareForRelease() override;  ///< forgets all observers
    /// Drops the GPU texture. Without one, sizes are 0 and `resize` fails.
    void cleanup() override;

    /// Observers are held weakly and told in the order of their registration; one that is already registered stays
    /// where it is.
    virtual void add(const std::shared_ptr<TextureDelegate>& delegate);
    virtual void remove(const TextureDelegate& delegate);

    /// Gives the texture another size, in pixels, with the same format and usage and undefined content, then tells the
    /// observers; a size that it already has changes nothing. A side below 1 is logged and raised to 1. False, with a
    /// message, without a GPU texture or when the device makes none; the old one then stays.
    [[nodiscard]] virtual bool resize(Size2<Int> size);
    [[nodiscard]] virtual bool resize(Int width, Int height);
    /// With the reason of a failure for the caller; `error` may be null.
    [[nodiscard]] bool resize(Size2<Int> size, NSError* error);

    /// A texture without a GPU texture clears the slot. False, with a message, for a shader of the wrong kind.
    [[nodiscard]] bool bind(MTLRenderCommandEncoder& encoder, const Shader& shader, Int index) override;
    [[nodiscard]] bool bind(MTLComputeCommandEncoder& encoder, const Shader& shader, Int index) override;

protected:
    Texture(std::shared_ptr<Device> device, std::shared_ptr<MTLTexture> mtlTexture);

    [[nodiscard]] MulticastDelegate<TextureDelegate>& delegates() noexcept { return delegates_; }

private:
    friend class Device;
    friend class RenderPass;
    friend class ComputePass;
    friend class PresentTexturePass;
    friend class MetalTextureConverter;
    friend class FrameWriter;
    friend std::optional<Pixels> readPixels(const Texture& texture, NSError* error);
    friend bool writePixels(Texture& texture, const void* bytes, Int bytesPerRow, NSError* error);

    std::shared_ptr<Device> device_;
    std::shared_ptr<MTLTexture> mtlTexture_;
    MulticastDelegate<TextureDelegate> delegates_;
};

}  // namespace ondrix
