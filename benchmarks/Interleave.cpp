#include "Interleave.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace ondrix::benchmarks {

namespace {

using Clock = std::chrono::steady_clock;

/// After one run only, the caches still hold much of what the contender before worked on, which helps those that share
/// their frames with it and hurts those that have their own.
constexpr int warmUpRuns = 3;

void runOnce(const Row& row, const Contender& contender) {
    if (!contender.run()) throw std::runtime_error(row.name + ": " + contender.name + " failed");
}

double timeOnce(const Row& row, const Contender& contender) {
    if (row.idle.count() > 0) {
        std::this_thread::sleep_for(row.idle);
    } else {
        for (int run = 0; run < warmUpRuns; ++run) runOnce(row, contender);
    }
    const auto start = Clock::now();
    runOnce(row, contender);
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

Timing summarise(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times.front(), static_cast<int>(times.size())};
}

}  // namespace

std::vector<Timing> measureInterleaved(const Row& row, const Effort& effort) {
    const std::size_t count = row.contenders.size();
    std::vector<std::vector<double>> times(count);
    const auto deadline = Clock::now() + effort.time;
    for (int round = 0; round < effort.maximumRounds; ++round) {
        if (round >= effort.minimumRounds && Clock::now() > deadline) break;
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t turn = (i + static_cast<std::size_t>(round)) % count;
            times[turn].push_back(timeOnce(row, row.contenders[turn]));
        }
    }
    std::vector<Timing> timings;
    for (std::vector<double>& values : times) timings.push_back(summarise(std::move(values)));
    return timings;
}

}  // namespace ondrix::benchmarks
