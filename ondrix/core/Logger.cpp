#include <filesystem>
#include <string>
#include <system_error>

#include <ondrix/core/Logger.h>
#include <ondrix/platform/foundation/NSBundle.h>

namespace ondrix {

namespace {

std::string subsystemName() {
    if (const auto identifier = NSBundle::mainBundle()->bundleIdentifier()) return *identifier;
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "unknown" : program.filename().string();
}

}  // namespace

const Logger& Logger::gfx() {
    static const Logger* const logger = new Logger(subsystemName(), "gfx");
    return *logger;
}

}  // namespace ondrix
