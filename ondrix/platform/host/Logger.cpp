#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <utility>

#include <locale.h>
#include <sys/uio.h>
#include <unistd.h>

#include <ondrix/platform/foundation/NSBundle.h>
#include <ondrix/platform/os/Logger.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix::os {

namespace {

const char* typeName(LogType type) {
    switch (type) {
        case LogType::debug:
            return "debug";
        case LogType::info:
            return "info";
        case LogType::error:
            return "error";
        case LogType::fault:
            return "fault";
    }
    return "unknown";
}

/// One system call, so that messages of several threads or processes don't mix; more only where it takes a part.
void writeToStandardError(const LogMessage& message) {
    const std::string_view type = typeName(message.type);
    const std::array<std::string_view, 9> parts = {"[",  message.subsystem, ":", message.category, "] ", type,
                                                   ": ", message.text,      "\n"};
    std::array<iovec, parts.size()> vectors{};
    for (std::size_t index = 0; index < parts.size(); ++index) {
        vectors[index] = {const_cast<char*>(parts[index].data()), parts[index].size()};
    }
    std::size_t first = 0;
    while (first < vectors.size()) {
        const ssize_t count = ::writev(STDERR_FILENO, vectors.data() + first, static_cast<int>(vectors.size() - first));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        auto written = static_cast<std::size_t>(count);
        while (first < vectors.size() && written >= vectors[first].iov_len) written -= vectors[first++].iov_len;
        if (first < vectors.size()) {
            vectors[first].iov_base = static_cast<char*>(vectors[first].iov_base) + written;
            vectors[first].iov_len -= written;
        }
    }
}

/// The lowest level that is written, as a number so that it can lie above all of them.
int levelFromEnvironment() {
    constexpr int info = static_cast<int>(LogType::info);
    const char* value = secure_getenv("ONDRIX_LOG");
    const std::string_view name = value != nullptr ? value : "";
    if (name.empty()) return info;
    if (name == "off") return static_cast<int>(LogType::fault) + 1;
    for (const LogType type : {LogType::debug, LogType::info, LogType::error, LogType::fault}) {
        if (name == typeName(type)) return static_cast<int>(type);
    }
    try {
        const std::string text =
            "ONDRIX_LOG is \"" + std::string(name) + "\", but must be off, fault, error, info or debug. Using info.";
        writeToStandardError({LogType::error, mainSubsystem(), "log", text});
    } catch (const std::bad_alloc&) {
    }
    return info;
}

/// What all loggers of the process share. The sink is taken out under the lock and called without it, so a sink may
/// itself log or replace the sink, and lives until the last call to it has ended.
struct SharedState {
    std::mutex mutex;
    std::shared_ptr<const LogSink> sink;  ///< null: the standard one
    std::atomic<int> minimum = levelFromEnvironment();
};

/// Never destroyed: code that runs while the program ends may still log.
SharedState& sharedState() {
    alignas(SharedState) static std::byte memory[sizeof(SharedState)];
    static auto& state = *new (memory) SharedState;
    return state;
}

std::shared_ptr<const LogSink> currentSink() {
    SharedState& state = sharedState();
    const std::lock_guard lock(state.mutex);
    return state.sink;
}

void send(const LogMessage& message) {
    const auto sink = currentSink();
    if (sink) {
        (*sink)(message);
    } else {
        writeToStandardError(message);
    }
}

/// While it lives, this thread writes numbers with a point, whatever the application's locale says.
class PlainNumbers {
public:
    PlainNumbers() {
        static const locale_t plain = ::newlocale(LC_ALL_MASK, "C", locale_t{});
        if (plain != locale_t{}) previous_ = ::uselocale(plain);
    }
    ~PlainNumbers() {
        if (previous_ != locale_t{}) ::uselocale(previous_);
    }
    PlainNumbers(const PlainNumbers&) = delete;
    PlainNumbers& operator=(const PlainNumbers&) = delete;

private:
    locale_t previous_{};
};

int formatInto(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    const PlainNumbers numbers;
    return std::vsnprintf(buffer, size, format, arguments);
}

}  // namespace

LogSink setLogSink(LogSink sink) {
    return orAbsent([&]() -> LogSink {
        auto replacement = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
        SharedState& state = sharedState();
        while (true) {
            // The copy is made before anything is replaced, and without the lock.
            const std::shared_ptr<const LogSink> previous = currentSink();
            LogSink copy = previous != nullptr ? *previous : LogSink();
            const std::lock_guard lock(state.mutex);
            if (state.sink != previous) continue;
            state.sink.swap(replacement);
            return copy;
        }
    });
}

void setLogLevel(LogType minimum) {
    sharedState().minimum.store(static_cast<int>(minimum), std::memory_order_relaxed);
}

std::string mainSubsystem() {
    const int callersErrno = errno;
    const auto bundle = orThrow([] { return NSBundle::mainBundle(); });
    auto identifier = orThrow([&] { return bundle->bundleIdentifier(); });
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    errno = callersErrno;
    if (identifier) return *std::move(identifier);
    return error ? "unknown" : program.filename().string();
}

Logger::Logger(std::string subsystem, std::string category)
    : subsystem_(std::move(subsystem)), category_(std::move(category)) {}

bool Logger::isEnabled(LogType type) noexcept {
    return static_cast<int>(type) >= sharedState().minimum.load(std::memory_order_relaxed);
}

/// Formats into a buffer on the stack, or on the heap where that is too small; cut off when memory runs out.
void Logger::write(LogType type, const char* format, std::va_list arguments) const noexcept {
    const int callersErrno = errno;
    try {
        std::va_list again;
        va_copy(again, arguments);
        std::array<char, 1024> buffer;
        const int length = formatInto(buffer.data(), buffer.size(), format, arguments);
        std::string longText;
        std::string_view text = format;
        if (length >= 0 && static_cast<std::size_t>(length) < buffer.size()) {
            text = {buffer.data(), static_cast<std::size_t>(length)};
        } else if (length >= 0) {
            try {
                longText.resize(static_cast<std::size_t>(length));
                errno = callersErrno;
                formatInto(longText.data(), longText.size() + 1, format, again);
                text = longText;
            } catch (const std::bad_alloc&) {
                text = {buffer.data(), buffer.size() - 1};
            }
        }
        va_end(again);
        send({type, subsystem_, category_, text});
    } catch (...) {
        // A message is never worth the caller's failure.
    }
    errno = callersErrno;
}

void Logger::error(const char* format, ...) const noexcept {
    if (!isEnabled(LogType::error)) return;
    std::va_list arguments;
    va_start(arguments, format);
    write(LogType::error, format, arguments);
    va_end(arguments);
}

void Logger::info(const char* format, ...) const noexcept {
    if (!isEnabled(LogType::info)) return;
    std::va_list arguments;
    va_start(arguments, format);
    write(LogType::info, format, arguments);
    va_end(arguments);
}

void Logger::debug(const char* format, ...) const noexcept {
    if (!isEnabled(LogType::debug)) return;
    std::va_list arguments;
    va_start(arguments, format);
    write(LogType::debug, format, arguments);
    va_end(arguments);
}

}  // namespace ondrix::os
