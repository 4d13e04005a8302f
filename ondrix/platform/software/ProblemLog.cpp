#include <cstddef>
#include <new>

#include <ondrix/platform/software/ProblemLog.h>

namespace ondrix::software {

namespace {

constexpr char deviceCategory[] = "device", validationCategory[] = "validation";

/// Made on first use and never destroyed; as long as there is no memory for it, another stands in that needs none.
template <const char* category>
const os::Logger& logger() noexcept {
    try {
        static const auto* const made = new os::Logger(os::mainSubsystem(), category);
        return *made;
    } catch (const std::bad_alloc&) {
        alignas(os::Logger) static std::byte memory[sizeof(os::Logger)];
        static const auto* const spare = new (memory) os::Logger("unknown", category);
        return *spare;
    }
}

}  // namespace

bool ProblemLog::isNew(const std::string& key) noexcept {
    try {
        const std::scoped_lock lock(mutex_);
        return known_.size() < mostProblems && known_.insert(key).second;
    } catch (const std::bad_alloc&) {
        return true;  // rather twice than never
    }
}

void ProblemLog::error(const std::string& text) noexcept {
    if (isNew(text)) deviceLogger().error("%s", text.c_str());
}

void ProblemLog::finding(os::LogType type, const std::string& key, const std::string& text) noexcept {
    if (!isNew(key)) return;
    if (type == os::LogType::error) {
        validationLogger().error("%s", text.c_str());
    } else {
        validationLogger().info("%s", text.c_str());
    }
}

const os::Logger& deviceLogger() noexcept {
    return logger<deviceCategory>();
}

const os::Logger& validationLogger() noexcept {
    return logger<validationCategory>();
}

}  // namespace ondrix::software
