#pragma once

#include <ondrix/platform/os/Logger.h>

namespace ondrix {

/// The platform's logger with the framework's own instance. Safe to use from any thread.
class Logger : public os::Logger {
public:
    using os::Logger::Logger;

    /// The logger that every problem of the framework is reported to, each as one message of level error under the
    /// category "gfx". Its subsystem is the main bundle's identifier, or the program's file name without one. Made on
    /// first use and never destroyed.
    [[nodiscard]] static const Logger& gfx() noexcept;

    /// Logs the message. `gfx` tells it instead to a caller who asked for the reason by an `NSError*`, see `Failure`.
    [[gnu::format(printf, 2, 3)]] void error(const char* format, ...) const noexcept;
    /// Whether anybody will see an error: arguments that are costly to build wait for that.
    [[nodiscard]] static bool wantsErrors() noexcept;
};

}  // namespace ondrix
