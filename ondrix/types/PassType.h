#pragma once

#include <functional>
#include <optional>
#include <string_view>

namespace ondrix {

/// The kind of a GPU pass.
enum class PassType : unsigned char {
    renderPass,
    computePass,
};

/// The text that messages show; it ends with a null character.
[[nodiscard]] std::string_view rawValue(PassType value) noexcept;
/// The case whose text equals `rawValue` byte for byte; absent for any other text.
[[nodiscard]] std::optional<PassType> makePassType(std::string_view rawValue) noexcept;

}  // namespace ondrix

template <>
struct std::hash<ondrix::PassType> {
    std::size_t operator()(ondrix::PassType value) const noexcept {
        return std::hash<std::string_view>{}(ondrix::rawValue(value));
    }
};
