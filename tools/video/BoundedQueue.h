#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace ondrix::tools {

/// Hands items from one thread to another, a few at a time, and as many as go into a limit of memory, but always one.
/// Safe to use from any thread.
template <typename Item>
class BoundedQueue {
public:
    /// `capacity` is how many items wait at most, and `maximumBytes` how large they are together unless it is one.
    BoundedQueue(std::size_t capacity, std::int64_t maximumBytes) : capacity_(capacity), maximumBytes_(maximumBytes) {}

    /// Waits for room for an item of so many bytes. False, without taking it, once the queue is abandoned.
    [[nodiscard]] bool push(Item item, std::int64_t bytes) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] {
            const bool fits = items_.size() < capacity_ && bytes_ + bytes <= maximumBytes_;
            return items_.empty() || fits || abandoned_;
        });
        if (abandoned_) return false;
        items_.emplace_back(std::move(item), bytes);
        bytes_ += bytes;
        changed_.notify_all();
        return true;
    }

    /// Waits for an item, at most for `longest`. Nothing when none came; `isDone()` tells whether one ever will.
    [[nodiscard]] std::optional<Item> pop(std::chrono::milliseconds longest) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, longest, [this] { return !items_.empty() || finished_ || abandoned_; });
        if (items_.empty()) return std::nullopt;
        Item item = std::move(items_.front().first);
        bytes_ -= items_.front().second;
        items_.pop_front();
        changed_.notify_all();
        return item;
    }

    /// No item follows those that are there.
    void finish() {
        const std::lock_guard lock(mutex_);
        finished_ = true;
        changed_.notify_all();
    }

    /// Drops what is there and refuses what comes.
    void abandon() {
        std::deque<std::pair<Item, std::int64_t>> dropped;
        const std::lock_guard lock(mutex_);
        abandoned_ = true;
        dropped.swap(items_);
        bytes_ = 0;
        changed_.notify_all();
    }

    /// True when no item is there and none will come.
    [[nodiscard]] bool isDone() const {
        const std::lock_guard lock(mutex_);
        return items_.empty() && (finished_ || abandoned_);
    }

private:
    const std::size_t capacity_;
    const std::int64_t maximumBytes_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::pair<Item, std::int64_t>> items_;  ///< each with its bytes
    std::int64_t bytes_ = 0;
    bool finished_ = false;
    bool abandoned_ = false;
};

}  // namespace ondrix::tools
