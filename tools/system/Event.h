#pragma once

namespace ondrix::tools {

/// Something that happens once. Any thread and any signal handler may announce it; others ask for it, or wait for it
/// together with what else they wait for.
class Event {
public:
    Event();
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void announce() const noexcept;
    [[nodiscard]] bool hasHappened() const noexcept;
    /// `poll` finds it readable once the event has happened, and ever after: nobody reads it.
    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

/// Waits until `descriptor` can be read, for `milliseconds` at most, -1 for ever. False when it can't, or when `end`
/// has happened.
[[nodiscard]] bool waitToRead(int descriptor, const Event& end, int milliseconds);

}  // namespace ondrix::tools
