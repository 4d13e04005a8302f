#pragma once

#include <string>
#include <vector>

#include "Outcome.h"

namespace ondrix::benchmarks {

/// The rows that have peers as a picture in SVG, readable on light and on dark ground: for each the times of ours, of
/// the fastest peer and of the memory's limit as bars, the fastest peer always of the same length.
[[nodiscard]] std::string plot(const std::vector<RowOutcome>& rows, int threads);

}  // namespace ondrix::benchmarks
