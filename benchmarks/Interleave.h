#pragma once

#include <chrono>
#include <vector>

#include "Row.h"

namespace ondrix::benchmarks {

/// How long a row is measured.
struct Effort {
    int minimumRounds = 11;
    int maximumRounds = 1000;
    std::chrono::milliseconds time{4000};  ///< no round is begun after this time once the minimum is reached
};

/// One contender's times in milliseconds.
struct Timing {
    double median = 0;
    double minimum = 0;
    int rounds = 0;
};

/// Measures all contenders of a row in turn, round by round, so that whatever else the machine does hits them alike:
/// some runs to warm up (or the row's idle time), then the timed one. Each round begins with another contender. Throws
/// std::runtime_error when a run fails.
[[nodiscard]] std::vector<Timing> measureInterleaved(const Row& row, const Effort& effort);

}  // namespace ondrix::benchmarks
