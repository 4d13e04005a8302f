#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include <ondrix/base/Identity.h>

namespace ondrix {

/// An ordered list of listeners of one interface, held weakly: a listener that goes is simply no longer called, and its
/// entry is dropped by the next `invoke`. Listeners are told apart by identity. A list is used from one thread at a
/// time. Linear in the number of entries, of which a handful is expected. Only `add` needs memory: without it, it
/// throws std::bad_alloc and has changed nothing.
template <class Listener>
class MulticastDelegate {
public:
    MulticastDelegate() = default;
    virtual ~MulticastDelegate() = default;
    MulticastDelegate(const MulticastDelegate&) = delete;
    MulticastDelegate& operator=(const MulticastDelegate&) = delete;

    /// Appends the listener unless it is in the list already.
    virtual void add(const std::shared_ptr<Listener>& delegate) {
        if (list_ == nullptr) list_ = std::make_shared<List>();
        const Identity id = identity(*delegate);
        for (const Entry& entry : list_->entries) {
            if (entry.refersTo(id)) return;
        }
        list_->entries.push_back({id, delegate});
    }

    virtual void remove(const Listener& delegate) {
        if (list_ == nullptr) return;
        for (Entry& entry : list_->entries) {
            if (entry.refersTo(identity(delegate))) entry.removedIn = list_->calls;
        }
        list_->drop();
    }

    virtual void removeAll() { list_.reset(); }

    /// Calls `callback` with each living listener in the order of registration. It may add and remove listeners, which
    /// doesn't change who is called this time, and may destroy the list.
    virtual void invoke(const std::function<void(Listener&)>& callback) {
        if (list_ == nullptr) return;
        const Call call(list_);
        for (std::size_t index = 0; index < call.count; ++index) {
            const Entry& entry = call.list->entries[index];
            if (entry.removedIn < call.number) continue;
            if (const std::shared_ptr<Listener> listener = entry.value.lock()) callback(*listener);
        }
    }

private:
    static constexpr std::uint64_t never = UINT64_MAX;

    struct Entry {
        Identity id;
        std::weak_ptr<Listener> value;
        std::uint64_t removedIn = never;  ///< the call that had begun last by then

        /// A new object may lie at a dead one's address.
        [[nodiscard]] bool refersTo(Identity other) const {
            return id == other && removedIn == never && !value.expired();
        }
    };

    struct List {
        std::vector<Entry> entries;
        std::uint64_t calls = 0;  ///< that have begun so far
        int running = 0;          ///< of them; while there are any, entries keep their places

        void drop() {
            if (running > 0) return;
            std::erase_if(entries,
                          [](const Entry& entry) { return entry.removedIn != never || entry.value.expired(); });
        }
    };

    /// One `invoke`, which keeps the list that it walks.
    struct Call {
        explicit Call(std::shared_ptr<List> walked) : list(std::move(walked)) {
            list->drop();
            ++list->running;
            number = ++list->calls;
            count = list->entries.size();
        }
        ~Call() {
            --list->running;
            list->drop();
        }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        const std::shared_ptr<List> list;
        std::uint64_t number = 0;
        std::size_t count = 0;
    };

    std::shared_ptr<List> list_;  ///< null without listeners
};

}  // namespace ondrix
