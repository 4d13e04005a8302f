#include <cctype>

extern "C" {
#include <libavutil/log.h>
}

#include <ondrix/platform/ffmpeg/FFmpeg.h>

namespace ondrix::ffmpeg {

std::string errorText(int status) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(status, text, sizeof text);
    if (text[0] != '\0' && std::islower(static_cast<unsigned char>(text[1])) != 0) {
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    }
    return text;
}

AVPixelFormat withoutRange(AVPixelFormat format) {
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ444P:
            return AV_PIX_FMT_YUV444P;
        case AV_PIX_FMT_YUVJ440P:
            return AV_PIX_FMT_YUV440P;
        case AV_PIX_FMT_YUVJ411P:
            return AV_PIX_FMT_YUV411P;
        default:
            return format;
    }
}

void silenceLibraries() noexcept {
    // An application that set a level of its own keeps it.
    if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_QUIET);
}

const os::Logger& logger() noexcept {
    try {
        static const auto* const logger = new os::Logger(os::mainSubsystem(), "media");
        return *logger;
    } catch (const std::bad_alloc&) {
        static const os::Logger nameless("", "media");  // needs none, its names are that short
        return nameless;
    }
}

}  // namespace ondrix::ffmpeg
