#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "Interleave.h"

namespace ondrix::benchmarks {

/// What came out for one contender of a row.
struct Outcome {
    std::string contender;
    bool ours = false;
    Timing timing;
    std::optional<int> largestError;  ///< 8-bit levels; absent where nothing can be compared
};

/// One row as a table for people. Ours also get the ratio of their median to that of the fastest of the others.
void printTable(std::FILE* out, const std::string& row, int threads, const std::vector<Outcome>& outcomes);
/// One line for each contender: task, peer, threads, median and minimum in milliseconds, largest error, by tabs.
void printTabSeparated(std::FILE* out, const std::string& row, int threads, const std::vector<Outcome>& outcomes);

}  // namespace ondrix::benchmarks
