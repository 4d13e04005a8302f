#include <new>

#include <ondrix/platform/software/ProblemLog.h>

namespace ondrix::software {

bool ProblemLog::isNew(const std::string& key) noexcept {
    try {
        const std::scoped_lock lock(mutex_);
        return known_.size() < mostProblems && known_.insert(key).second;
    } catch (const std::bad_alloc&) {
        return false;
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

const os::Logger& deviceLogger() {
    static const auto* const logger = new os::Logger(os::mainSubsystem(), "device");
    return *logger;
}

const os::Logger& validationLogger() {
    static const auto* const logger = new os::Logger(os::mainSubsystem(), "validation");
    return *logger;
}

}  // namespace ondrix::software
