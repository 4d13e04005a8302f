#pragma once

#include "Event.h"

namespace ondrix::tools {

/// Turns the user's first Ctrl-C, or the first request to end, into an event that the program looks at when it suits
/// it, so that a movie can be completed. A second one ends the program at once and removes what is unfinished. One at a
/// time, made before any `OutputFile`.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    [[nodiscard]] bool requested() const noexcept { return event_.hasHappened(); }
    [[nodiscard]] const Event& event() const noexcept { return event_; }

private:
    Event event_;
};

}  // namespace ondrix::tools
