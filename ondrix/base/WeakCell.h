#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace ondrix {

/// A weak reference that one thread may read while another replaces it. No reference is released under the lock, so a
/// destructor that runs because of a call may use the cell again.
template <class Object>
class WeakCell {
public:
    [[nodiscard]] std::shared_ptr<Object> load() const {
        std::weak_ptr<Object> copy;
        {
            const std::lock_guard lock(mutex_);
            copy = value_;
        }
        return copy.lock();
    }

    void store(std::weak_ptr<Object> value) {
        const std::lock_guard lock(mutex_);
        value_.swap(value);
    }

private:
    mutable std::mutex mutex_;
    std::weak_ptr<Object> value_;
};

}  // namespace ondrix
