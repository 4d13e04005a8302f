#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ondrix::ffmpeg {

/// Wakes the decoding thread. Outputs hold it, so it may outlive its item.
class Signal {
public:
    void set() {
        const std::lock_guard lock(mutex_);
        isSet_ = true;
        condition_.notify_one();
    }
    void wait() {
        std::unique_lock lock(mutex_);
        condition_.wait(lock, [this] { return isSet_; });
        isSet_ = false;
    }
    void wait(std::chrono::milliseconds atMost) {
        std::unique_lock lock(mutex_);
        condition_.wait_for(lock, atMost, [this] { return isSet_; });
        isSet_ = false;
    }

private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool isSet_ = false;
};

}  // namespace ondrix::ffmpeg
