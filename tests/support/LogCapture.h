#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <ondrix/platform/os/Logger.h>

namespace ondrix::test {

/// Collects the messages of all loggers while it lives, in place of the sink before, which it puts back.
class LogCapture {
public:
    struct Entry {
        os::LogType type;
        std::string subsystem, category, text;
    };

    LogCapture()
        : previous_(os::setLogSink([state = state_](const os::LogMessage& message) {
              const std::lock_guard lock(state->mutex);
              state->entries.push_back({message.type, std::string(message.subsystem), std::string(message.category),
                                        std::string(message.text)});
          })) {}
    ~LogCapture() { os::setLogSink(std::move(previous_)); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    [[nodiscard]] std::vector<Entry> entries() const {
        const std::lock_guard lock(state_->mutex);
        return state_->entries;
    }
    /// The texts so far, in order.
    [[nodiscard]] std::vector<std::string> messages() const {
        std::vector<std::string> texts;
        for (const Entry& entry : entries()) texts.push_back(entry.text);
        return texts;
    }
    void clear() {
        const std::lock_guard lock(state_->mutex);
        state_->entries.clear();
    }

private:
    struct State {
        std::mutex mutex;
        std::vector<Entry> entries;
    };

    std::shared_ptr<State> state_ = std::make_shared<State>();
    os::LogSink previous_;
};

}  // namespace ondrix::test
