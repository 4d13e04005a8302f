#pragma once

#include <cerrno>
#include <cstddef>
#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/core/Failure.h>
#include <ondrix/platform/simd/simd.h>
#include <ondrix/resources/Sampler.h>
#include <ondrix/shaders/Mesh.h>
#include <ondrix/shaders/ShaderLibrary.h>
#include <ondrix/types/ContentMode.h>
#include <ondrix/types/Size2.h>

namespace ondrix {

/// Parts that the ready-made passes and effects have in common.

/// What becomes of a ready-made pass or effect that lacks a part of its own: the installation is broken then.
enum class IfMissing : unsigned char { stopProcess, fail };

/// Makes a ready-made pass or effect, as a whole or not at all.
template <class Make>
[[nodiscard]] auto ofReadyMadeParts(Make&& make, const char* file = __builtin_FILE(),
                                    const char* function = __builtin_FUNCTION()) {
    errno = 0;
    return Failure::wholeOrAbsent(make, file, function);
}

/// Stops the process with the message, or logs it as the failure that it then is and returns null. That the platform
/// had no memory for the part, which it says by `errno`, doesn't stop the process.
std::nullptr_t lacks(IfMissing ifMissing, const char* message);

/// Linear in both directions, clamped to the edge; null, with a message, when the device makes none.
[[nodiscard]] std::shared_ptr<Sampler> makeLinearSampler(Device& device);

/// The default library in the framework's bundle; null when there is none and the process goes on.
[[nodiscard]] std::shared_ptr<ShaderLibrary> frameworkShaderLibrary(Device& device, IfMissing ifMissing);

/// The device's own quad; null when there is none and the process goes on.
[[nodiscard]] std::shared_ptr<Mesh> requiredQuadMesh(const Device& device, IfMissing ifMissing);

/// What the sides of a quad over the whole output are multiplied with, so that it shows the input by the mode; 0 for a
/// size of height 0 that would have to be compared.
[[nodiscard]] simd_float2 contentScale(ContentMode contentMode, Size2<Int> inputSize, Size2<Int> outputSize);

}  // namespace ondrix
