#include <cstddef>
#include <cstdio>
#include <new>
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

// Stands in as long as there is no memory for the real one.
const Logger& spareLogger() noexcept {
    alignas(Logger) static std::byte memory[sizeof(Logger)];
    static const Logger& logger = *new (memory) Logger("unknown", "gfx");  // texts that need no memory of their own
    return logger;
}

}  // namespace

const Logger& Logger::gfx() noexcept {
    try {
        static const Logger* const logger = new Logger(os::mainSubsystem(), "gfx");
        return *logger;
    } catch (const std::bad_alloc&) {
        return spareLogger();
    }
}

bool Logger::wantsErrors() noexcept {
    return Failure::current() != nullptr || isEnabled(os::LogType::error);
}

void Logger::error(const char* format, ...) const noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    const bool isOfTheFramework = this == &gfx() || this == &spareLogger();
    if (Failure* const failure = isOfTheFramework ? Failure::current() : nullptr) {
        try {
            failure->message(formatted(format, arguments));
        } catch (const std::bad_alloc&) {
            Failure::outOfMemory("", "");
        }
    } else if (isEnabled(os::LogType::error)) {
        write(os::LogType::error, format, arguments);
    }
    va_end(arguments);
}

}  // namespace ondrix
