#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <ondrix/types/Int.h>

namespace ondrix {

/// Measures how long recurring stretches of work take, each with a timer of its own, and publishes their means in
/// periods: bracket a stretch with `onStarted` and `onEnded`, call `update` regularly, read `getMeanInterval`. Times
/// are seconds of the media clock. Cheap enough for every frame: nothing is allocated after construction. A timer index
/// out of range is ignored. Used from one thread at a time.
class Profiler {
public:
    /// `updateInterval` is the length of a period; 0 publishes at every update. Null for a count below 0 or beyond
    /// memory.
    [[nodiscard]] static std::shared_ptr<Profiler> create(Int timerCount, double updateInterval);
    virtual ~Profiler();
    Profiler(const Profiler&) = delete;
    Profiler& operator=(const Profiler&) = delete;

    /// False: a profiler measures from its construction on.
    [[nodiscard]] virtual bool isStarted() const;

    /// The mean that was published last: 0 before the first, and for a period without intervals. Nothing for an index
    /// out of range.
    [[nodiscard]] virtual std::optional<double> getMeanInterval(Int timerIndex) const;
    /// Begins an interval. One in progress is recorded as ending now.
    virtual void onStarted(Int timerIndex);
    /// Records the interval in progress, if there is one.
    virtual void onEnded(Int timerIndex);
    /// Publishes and begins the next period once this one has lasted `updateInterval`, and says whether it did.
    /// Intervals in progress are lost then.
    virtual bool update();

protected:
    /// `timerCount` is at least 0. Throws when there is no memory for so many.
    Profiler(Int timerCount, double updateInterval);

private:
    struct TimerInfo;

    [[nodiscard]] bool isTimer(Int index) const noexcept;

    bool isStarted_ = false;
    double updateInterval_;
    double lastUpdateTime_;
    std::vector<TimerInfo> timers_;
};

}  // namespace ondrix
