#include <cctype>
#include <filesystem>
#include <system_error>

#include <ondrix/platform/ffmpeg/FFmpegPointers.h>
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

std::string ffmpegErrorText(int status) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(status, text, sizeof text);
    if (text[0] != '\0' && std::islower(static_cast<unsigned char>(text[1])) != 0) {
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    }
    return text;
}

void silenceFFmpeg() noexcept {
    av_log_set_level(AV_LOG_QUIET);
}

const os::Logger& mediaLogger() {
    static const auto* const logger = new os::Logger(subsystemName(), "media");
    return *logger;
}

}  // namespace ondrix
