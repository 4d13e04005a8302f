#pragma once

#include <memory>
#include <string>
#include <vector>

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

    /// Whether both are there.
    [[nodiscard]] explicit operator bool() const noexcept { return vertex != nullptr && fragment != nullptr; }
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

    /// The names of the functions that a shader of that type runs, sorted.
    [[nodiscard]] std::vector<std::string> functionNames(ShaderType of) const;

    /// With the reason of a failure for the caller; `error` may be null. `makeShaders` fails unless it makes both.
    [[nodiscard]] std::shared_ptr<Shader> makeShader(const std::string& name, ShaderType as, NSError* error);
    [[nodiscard]] RenderShaders makeShaders(const std::string& vertexShader, const std::string& fragmentShader,
                                            NSError* error);

private:
    friend class Device;

    ShaderLibrary(std::shared_ptr<Device> device, std::shared_ptr<MTLLibrary> mtlLibrary);

    std::shared_ptr<Device> device_;
    std::shared_ptr<MTLLibrary> mtlLibrary_;
};

}  // namespace ondrix
