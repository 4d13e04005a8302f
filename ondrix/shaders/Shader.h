#pragma once

#include <cstddef>
#include <memory>
#include <unordered_map>

#include <ondrix/core/Device.h>
#include <ondrix/core/ManagedResource.h>
#include <ondrix/platform/metal/MTLLibrary.h>
#include <ondrix/shaders/ShaderResource.h>
#include <ondrix/types/ShaderType.h>

namespace ondrix {

/// One GPU function together with the resources for its slots, made by `ShaderLibrary::makeShader`. It holds its device
/// and its resources, and binds all of them each time a pass encodes it. Used from one thread at a time.
class Shader : public ManagedResource {
public:
    [[nodiscard]] const std::shared_ptr<Device>& device() const noexcept { return device_; }
    [[nodiscard]] ShaderType shaderType() const noexcept { return shaderType_; }

    void prepareForRelease() override;  ///< forgets all resources
    void cleanup() override;            ///< does nothing

    /// Attaches a resource to slot `index` of its kind, in place of the one that was there; kinds have separate slots.
    /// Whether the shader can take it shows when the shader is encoded.
    virtual void setShaderResource(std::shared_ptr<ShaderResource> resource, Int index);
    virtual void removeShaderResource(ShaderResourceType type, Int index);
    virtual void clearShaderResources();

    /// Binds all resources for a draw, in no particular order, up to the first that refuses. False if one did, and,
    /// with a message, for a compute shader. A resource that changes the shader meanwhile changes the next encode.
    [[nodiscard]] virtual bool encode(MTLRenderCommandEncoder& encoder) const;
    /// The same for a dispatch. For a vertex or fragment shader just false.
    [[nodiscard]] virtual bool encode(MTLComputeCommandEncoder& encoder) const;

private:
    friend class ShaderLibrary;
    friend class RenderPass;
    friend class ComputePass;

    struct ShaderResourceKey {
        Int index;
        ShaderResourceType type;
        friend bool operator==(const ShaderResourceKey&, const ShaderResourceKey&) = default;
    };
    struct ShaderResourceKeyHash {
        std::size_t operator()(const ShaderResourceKey& key) const noexcept;
    };

    using ResourceMap = std::unordered_map<ShaderResourceKey, std::shared_ptr<ShaderResource>, ShaderResourceKeyHash>;

    Shader(std::shared_ptr<Device> device, ShaderType shaderType, std::shared_ptr<MTLFunction> mtlFunction);

    [[nodiscard]] const std::shared_ptr<MTLFunction>& mtlFunction() const noexcept { return mtlFunction_; }
    /// The map to change: a copy while resources are just being bound, since one of them may change the shader.
    [[nodiscard]] ResourceMap& changeableResources();
    template <class Encoder>
    [[nodiscard]] bool bindResources(Encoder& encoder) const;

    std::shared_ptr<Device> device_;
    ShaderType shaderType_;
    std::shared_ptr<MTLFunction> mtlFunction_;
    std::shared_ptr<ResourceMap> shaderResMap_;  ///< null for none; shared with who walks over it
};

}  // namespace ondrix
