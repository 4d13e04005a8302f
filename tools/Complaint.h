#pragma once

#include <string>

namespace ondrix::tools {

/// Writes "ondrix: REASON" to standard error as exactly one line, whatever the reason is made of.
void complain(std::string reason);
/// The text without control characters, which could end a line or act on a terminal.
[[nodiscard]] std::string withoutControls(std::string text);

/// Whether standard error shows colours: it is a terminal, and the variable NO_COLOR is unset or empty.
[[nodiscard]] bool usesColours();

}  // namespace ondrix::tools
