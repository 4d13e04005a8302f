#pragma once

namespace ondrix {

/// Writes `message` and a newline to standard error and aborts the process.
[[noreturn]] void fatalError(const char* message) noexcept;

}  // namespace ondrix
