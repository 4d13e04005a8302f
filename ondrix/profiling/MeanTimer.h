#pragma once

#include <optional>

#include <ondrix/types/Int.h>

namespace ondrix {

/// The mean of intervals, kept without a sum: memory and precision stay the same however many there are. Seconds of the
/// media clock. Idle or with one interval in progress.
class MeanTimer {
public:
    /// Begins an interval. One in progress is recorded as ending now.
    void start();
    /// Records the interval in progress, if there is one.
    void stop();

    [[nodiscard]] double mean() const noexcept { return mean_; }  ///< 0 without intervals

private:
    std::optional<double> startTime_;  ///< of the interval in progress
    double mean_ = 0;
    Int count_ = 0;
};

}  // namespace ondrix
