#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/resources/Sampler.h>
#include <ondrix/shaders/Mesh.h>
#include <ondrix/shaders/ShaderLibrary.h>

namespace ondrix {

/// Parts that the ready-made passes have in common.

/// Linear in both directions, clamped to the edge; null, with a message, when the device makes none.
[[nodiscard]] std::shared_ptr<Sampler> makeLinearSampler(Device& device);

/// The default library in the framework's bundle. Stops the process when there is none.
[[nodiscard]] std::shared_ptr<ShaderLibrary> frameworkShaderLibrary(Device& device);

/// The device's own quad. Stops the process when there is none.
[[nodiscard]] std::shared_ptr<Mesh> requiredQuadMesh(const Device& device);

}  // namespace ondrix
