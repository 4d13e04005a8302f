#include <cctype>

#include <ondrix/platform/ffmpeg/FFmpegPointers.h>

namespace ondrix {

std::string ffmpegErrorText(int status) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(status, text, sizeof text);
    if (text[0] != '\0' && std::islower(static_cast<unsigned char>(text[1])) != 0) {
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    }
    return text;
}

void silenceFFmpeg() noexcept {
    // An application that set a level of its own keeps it.
    if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_QUIET);
}

const os::Logger& mediaLogger() {
    static const auto* const logger = new os::Logger(os::mainSubsystem(), "media");
    return *logger;
}

}  // namespace ondrix
