#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/shaders/ShaderLibrary.h>

namespace ondrix::benchmarks {

/// The benchmarks' own GPU functions, from the library in the program's bundle. Throws std::runtime_error when it can't
/// be opened.
[[nodiscard]] std::shared_ptr<ShaderLibrary> makeFunctionLibrary(Device& device);

}  // namespace ondrix::benchmarks
