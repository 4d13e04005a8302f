#pragma once

#include <cstdarg>
#include <functional>
#include <string>
#include <string_view>

namespace ondrix::os {

/// Severity, in rising order.
enum class LogType { debug, info, error, fault };

/// One message as a sink receives it. The views are valid during the call only.
struct LogMessage {
    LogType type;
    std::string_view subsystem;
    std::string_view category;
    std::string_view text;
};

using LogSink = std::function<void(const LogMessage&)>;

/// Replaces the place where messages go, for all loggers of the process, and returns the previous one. An empty sink is
/// the standard one, which writes "[subsystem:category] error: text" and a newline to standard error in one write. A
/// sink may be called from any thread, also from several at once. Without memory nothing is replaced and an empty sink
/// returned.
LogSink setLogSink(LogSink sink);

/// Messages below `minimum` are neither built nor written. To begin with, that is what the environment variable
/// `ONDRIX_LOG` says when the first message comes: off (none at all), fault, error, info or debug; info without it.
void setLogLevel(LogType minimum);

/// Whose messages a logger writes, unless it has a name of its own: the main bundle's identifier, or without one the
/// program's file name. Throws std::bad_alloc.
[[nodiscard]] std::string mainSubsystem();

/// Writes printf-style messages under one subsystem and category, with numbers as in the locale "C". Safe to use from
/// any thread; never throws.
class Logger {
public:
    Logger(std::string subsystem, std::string category);

    [[nodiscard]] const std::string& subsystem() const noexcept { return subsystem_; }
    [[nodiscard]] const std::string& category() const noexcept { return category_; }
    /// Whether messages of this severity are written: for those whose arguments take work to make.
    [[nodiscard]] static bool isEnabled(LogType type) noexcept;

    [[gnu::format(printf, 2, 3)]] void error(const char* format, ...) const noexcept;
    [[gnu::format(printf, 2, 3)]] void info(const char* format, ...) const noexcept;
    [[gnu::format(printf, 2, 3)]] void debug(const char* format, ...) const noexcept;

protected:
    /// Writes whatever the level is.
    [[gnu::format(printf, 3, 0)]] void write(LogType type, const char* format, std::va_list arguments) const noexcept;

private:
    std::string subsystem_;
    std::string category_;
};

}  // namespace ondrix::os
