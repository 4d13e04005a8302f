#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Event.h"

namespace ondrix::tools {

/// What a program left behind.
struct ProcessResult {
    int status = 0;      ///< 0 when it did what it was asked; 127 when it couldn't be started
    std::string output;  ///< of both its streams; why it couldn't be started
};

/// Runs the program `arguments[0]`, found in PATH, with `environment` ("NAME=value") added to this one's own, and reads
/// all that it prints. Absent when `end` happens first: it is ended then, with everything that it started.
[[nodiscard]] std::optional<ProcessResult> runProcess(std::vector<std::string> arguments,
                                                      std::vector<std::string> environment, const Event& end);

}  // namespace ondrix::tools
