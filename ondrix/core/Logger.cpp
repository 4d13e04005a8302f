#include <ondrix/core/Logger.h>

namespace ondrix {

const Logger& Logger::gfx() {
    static const Logger* const logger = new Logger(os::mainSubsystem(), "gfx");
    return *logger;
}

}  // namespace ondrix
