#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <ondrix/base/Identity.h>

namespace ondrix {

/// An ordered list of listeners of one interface, held weakly: a listener that goes is simply no longer called, and its
/// entry is dropped by the next `invoke`. Listeners are told apart by identity. A list is used from one thread at a
/// time. Linear in the number of entries, of which a handful is expected.
template <class Listener>
class MulticastDelegate {
public:
    MulticastDelegate() = default;
    virtual ~MulticastDelegate() = default;
    MulticastDelegate(const MulticastDelegate&) = delete;
    MulticastDelegate& operator=(const MulticastDelegate&) = delete;

    /// Appends the listener unless it is in the list already.
    virtual void add(const std::shared_ptr<Listener>& delegate) {
        const Identity id = identity(*delegate);
        for (const WeakDelegate& entry : delegates_) {
            if (entry.refersTo(id)) return;
        }
        delegates_.push_back({id, delegate});
    }

    virtual void remove(const Listener& delegate) {
        std::erase_if(delegates_, [id = identity(delegate)](const WeakDelegate& entry) { return entry.refersTo(id); });
    }

    virtual void removeAll() { std::vector<WeakDelegate>().swap(delegates_); }

    /// Calls `callback` with each living listener in the order of registration. It may add and remove listeners, which
    /// doesn't change who is called this time, and may destroy the list.
    virtual void invoke(const std::function<void(Listener&)>& callback) {
        std::erase_if(delegates_, [](const WeakDelegate& entry) { return entry.value.expired(); });
        const std::vector<WeakDelegate> snapshot = delegates_;
        for (const WeakDelegate& entry : snapshot) {
            if (const std::shared_ptr<Listener> listener = entry.value.lock()) callback(*listener);
        }
    }

private:
    struct WeakDelegate {
        Identity id;
        std::weak_ptr<Listener> value;

        /// A new object may lie at a dead one's address.
        [[nodiscard]] bool refersTo(Identity other) const { return id == other && !value.expired(); }
    };

    std::vector<WeakDelegate> delegates_;
};

}  // namespace ondrix
