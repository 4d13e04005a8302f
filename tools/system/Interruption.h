#pragma once

#include "Event.h"

namespace ondrix::tools {

/// Ctrl-C and the request to end, SIGINT and SIGTERM. While an object of this class lives, the first of them is an
/// event that the program looks at when it suits it, so that a movie can be completed. Any other ends the program at
/// once, with status 130, and removes what is unfinished. One at a time.
class Interruption {
public:
    static constexpr int status = 130;  ///< of a program that was interrupted

    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    [[nodiscard]] bool requested() const noexcept { return event_.hasHappened(); }
    [[nodiscard]] const Event& event() const noexcept { return event_; }

    /// Has the program handle the signals from now on, unless its caller ignores them. May be called before anything
    /// else of the program has run.
    static void handleSignals();

private:
    const Event& event_;  ///< the same for all objects: what happened once stays
};

}  // namespace ondrix::tools
