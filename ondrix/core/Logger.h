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
    [[nodiscard]] static const Logger& gfx();
};

}  // namespace ondrix
