#pragma once

#include <string>
#include <string_view>

namespace ondrix::tools {

/// The text as a string of JSON, in quotes; without control characters.
[[nodiscard]] std::string jsonText(std::string_view text);

}  // namespace ondrix::tools
