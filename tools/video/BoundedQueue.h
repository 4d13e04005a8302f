#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace ondrix::tools {

/// Hands items from one thread to another, a few at a time. Safe to use from any thread.
template <typename Item>
class BoundedQueue {
public:
    /// `capacity` is how many items wait at most.
    explicit BoundedQueue(std::size_t capacity) : capacity_(capacity) {}

    /// Waits for room. False, without taking the item, once the queue is abandoned.
    [[nodiscard]] bool push(Item item) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return items_.size() < capacity_ || abandoned_; });
        if (abandoned_) return false;
        items_.push_back(std::move(item));
        changed_.notify_all();
        return true;
    }

    /// Waits for an item, at most for `longest`. Nothing when none came; `isDone()` tells whether one ever will.
    [[nodiscard]] std::optional<Item> pop(std::chrono::milliseconds longest) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, longest, [this] { return !items_.empty() || finished_ || abandoned_; });
        if (items_.empty()) return std::nullopt;
        Item item = std::move(items_.front());
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
        std::deque<Item> dropped;
        const std::lock_guard lock(mutex_);
        abandoned_ = true;
        dropped.swap(items_);
        changed_.notify_all();
    }

    /// True when no item is there and none will come.
    [[nodiscard]] bool isDone() const {
        const std::lock_guard lock(mutex_);
        return items_.empty() && (finished_ || abandoned_);
    }

private:
    const std::size_t capacity_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Item> items_;
    bool finished_ = false;
    bool abandoned_ = false;
};

}  // namespace ondrix::tools
