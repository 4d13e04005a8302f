#pragma once

#include <cstdio>
#include <vector>

#include "Outcome.h"

namespace ondrix::benchmarks {

/// One row as a table for people. Ours also get the ratio of their median to that of the fastest peer, and what they
/// are held to.
void printTable(std::FILE* out, const RowOutcome& row, int threads);
/// One line for each of ours in each row: its time, the fastest peer, the memory's limit, the error, and whether what
/// it is held to is met.
void printSummary(std::FILE* out, const std::vector<RowOutcome>& rows, int threads);
/// One line for each contender: task, peer, threads, median and minimum in milliseconds, largest error, by tabs.
void printTabSeparated(std::FILE* out, const RowOutcome& row, int threads);

}  // namespace ondrix::benchmarks
