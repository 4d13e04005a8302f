#pragma once

#include <functional>
#include <optional>
#include <string_view>

namespace ondrix {

/// The stage that a shader function runs in.
enum class ShaderType : unsigned char {
    vertexShader,
    fragmentShader,
    computeShader,
};

/// The text that messages show; it ends with a null character.
[[nodiscard]] std::string_view rawValue(ShaderType value) noexcept;
/// The case whose text equals `rawValue` byte for byte; absent for any other text.
[[nodiscard]] std::optional<ShaderType> makeShaderType(std::string_view rawValue) noexcept;

}  // namespace ondrix

template <>
struct std::hash<ondrix::ShaderType> {
    std::size_t operator()(ondrix::ShaderType value) const noexcept {
        return std::hash<std::string_view>{}(ondrix::rawValue(value));
    }
};
