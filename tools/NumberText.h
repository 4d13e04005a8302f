#pragma once

#include <charconv>
#include <string>

namespace ondrix::tools {

/// The shortest decimal text that stands for exactly this number, whatever the locale.
[[nodiscard]] inline std::string numberText(float number) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

}  // namespace ondrix::tools
