#include <cstdio>
#include <exception>
#include <string>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>

namespace ondrix {

namespace {

[[gnu::format(printf, 1, 0)]] std::string formatted(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) return format;
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

}  // namespace

const Logger& Logger::gfx() {
    static const Logger* const logger = new Logger(os::mainSubsystem(), "gfx");
    return *logger;
}

bool Logger::wantsErrors() noexcept {
    return Failure::current() != nullptr || isEnabled(os::LogType::error);
}

void Logger::error(const char* format, ...) const noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    if (Failure* const failure = this == &gfx() ? Failure::current() : nullptr) {
        try {
            failure->message(formatted(format, arguments));
        } catch (const std::exception&) {
            // Without memory for it the reason is lost, not the failure.
        }
    } else if (isEnabled(os::LogType::error)) {
        write(os::LogType::error, format, arguments);
    }
    va_end(arguments);
}

}  // namespace ondrix
