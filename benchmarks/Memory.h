#pragma once

#include <cstddef>
#include <vector>

#include "Row.h"
#include "Workers.h"

namespace ondrix::benchmarks {

/// Bytes that a step of work must read and write, both at least 1.
struct Traffic {
    std::size_t read;
    std::size_t written;
};

/// Adds contenders that do nothing but move these bytes, step by step, each step reading what the one before wrote:
/// with the C library, with ordinary stores, and with stores past the caches. All are called `name`. `workers` must
/// outlive the row.
void addMemory(Row& row, Workers& workers, const std::string& name, const std::vector<Traffic>& steps);

}  // namespace ondrix::benchmarks
