#pragma once

#include <functional>
#include <optional>
#include <string_view>

namespace ondrix {

/// The kind of an object in a shader's slot.
enum class ShaderResourceType : unsigned char {
    sampler,
    texture,
    constantBuffer,
    uniformBuffer,
};

/// The text that messages show; it ends with a null character.
[[nodiscard]] std::string_view rawValue(ShaderResourceType value) noexcept;
/// The case whose text equals `rawValue` byte for byte; absent for any other text.
[[nodiscard]] std::optional<ShaderResourceType> makeShaderResourceType(std::string_view rawValue) noexcept;

}  // namespace ondrix

template <>
struct std::hash<ondrix::ShaderResourceType> {
    std::size_t operator()(ondrix::ShaderResourceType value) const noexcept {
        return std::hash<std::string_view>{}(ondrix::rawValue(value));
    }
};
