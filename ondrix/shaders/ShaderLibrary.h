#pragma once

#include <memory>
#include <string>

#include <ondrix/core/Device.h>
#include <ondrix/core/ManagedResource.h>
#include <ondrix/platform/metal/MTLLibrary.h>
#include <ondrix/types/ShaderType.h>

namespace ondrix {

class Shader;

/// The two shaders of a render pass; either may be null.
struct RenderShaders {
    std::shared_ptr<Shader> vertex;
    std::shared_ptr<Shader> fragment;
};

/// Compiled GPU functions by name, made by the factories of `Device`. Keeps its device alive.
class ShaderLibrary : public ManagedResource {
public:
    [[nodiscard]] const std::shared_ptr<Device>& device() const noexcept { return device_; }

    void prepareForRelease() override;  ///< does nothing
    void cleanup() override;            ///< does nothing

    /// A new shader without resources from the function of exactly this name. Whether the function is of the kind that
    /// `as` says shows when the shader is used. Null, with a message, without such a function.
    [[nodiscard]] virtual std::shared_ptr<Shader> makeShader(const std::string& name, ShaderType as);
    /// Asks for both, whether or not the first is there.
    [[nodiscard]] virtual RenderShaders makeShaders(const std::string& vertexShader, const std::string& fragmentShader);

protected:
    ShaderLibrary(std::shared_ptr<Device> device, std::shared_ptr<MTLLibrary> mtlLibrary);

private:
    friend class Device;

    std::shared_ptr<Device> device_;
    std::shared_ptr<MTLLibrary> mtlLibrary_;
};

}  // namespace ondrix
