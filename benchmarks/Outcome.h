#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Interleave.h"

namespace ondrix::benchmarks {

/// What came out for one contender of a row.
struct Outcome {
    std::string contender;
    Role role = Role::peer;
    Timing timing;
    std::optional<int> largestError;  ///< 8-bit levels; absent where nothing can be compared
};

/// What came out for a row.
struct RowOutcome {
    std::string row;
    std::string title;
    std::vector<Bound> bounds;
    std::vector<Outcome> outcomes;  ///< by role
};

/// One limit of a bound, held against one of ours.
struct Verdict {
    bool must = false;  ///< an aim otherwise
    double limit = 0;
    double value = 0;     ///< a ratio of medians, or milliseconds where the bound is in these
    std::string against;  ///< empty for milliseconds
    [[nodiscard]] bool met() const { return value <= limit; }
};

/// Runs every contender once to see how far its result is from the reference, then measures all of them. Throws
/// std::runtime_error when a run fails.
[[nodiscard]] RowOutcome measure(const Row& row, const Effort& effort);

/// The fastest outcome of a role, or null.
[[nodiscard]] const Outcome* fastest(const RowOutcome& row, Role role);
/// Every limit for one of ours, leaving out bounds against contenders that aren't there.
[[nodiscard]] std::vector<Verdict> verdicts(const RowOutcome& row, const Outcome& ours);

}  // namespace ondrix::benchmarks
