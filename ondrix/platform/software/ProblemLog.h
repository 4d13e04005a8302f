#pragma once

#include <mutex>
#include <set>
#include <string>

#include <ondrix/platform/os/Logger.h>

namespace ondrix::software {

/// What has been told about one pipeline, or about a device: a mistake in work that is repeated sixty times a second is
/// one line in the log, and comes up again only with a new pipeline. After `mostProblems` different ones nothing more
/// is told. Safe to use from any thread.
class ProblemLog {
public:
    static constexpr std::size_t mostProblems = 32;

    /// Logs why work can't run, under the category "device".
    void error(const std::string& text) noexcept;
    /// Logs what validation found, under the category "validation". Findings with the same `key` are the same, however
    /// their texts differ.
    void finding(os::LogType type, const std::string& key, const std::string& text) noexcept;

private:
    [[nodiscard]] bool isNew(const std::string& key) noexcept;

    std::mutex mutex_;
    std::set<std::string> known_;
};

/// The loggers of the device: "device" and "validation".
[[nodiscard]] const os::Logger& deviceLogger() noexcept;
[[nodiscard]] const os::Logger& validationLogger() noexcept;

}  // namespace ondrix::software
