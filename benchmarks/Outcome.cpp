#include "Outcome.h"

#include <algorithm>
#include <stdexcept>

#include "Reference.h"

namespace ondrix::benchmarks {

namespace {

std::optional<int> largestError(const Row& row, const Contender& contender) {
    if (row.output) row.output->fill(0x55);
    if (!contender.run()) throw std::runtime_error(row.name + ": " + contender.name + " failed");
    if (!contender.result) return std::nullopt;
    return largestDifference(*contender.result(), *row.reference);
}

const Outcome* faster(const Outcome* a, const Outcome& b) {
    return a == nullptr || b.timing.median < a->timing.median ? &b : a;
}

/// Keeps the fastest of the contenders that move memory under one name.
void mergeMemory(std::vector<Outcome>& outcomes) {
    std::vector<Outcome> merged;
    for (Outcome& outcome : outcomes) {
        const auto same = std::find_if(merged.begin(), merged.end(), [&](const Outcome& other) {
            return outcome.role == Role::memory && other.role == Role::memory && other.contender == outcome.contender;
        });
        if (same == merged.end()) {
            merged.push_back(std::move(outcome));
        } else if (outcome.timing.median < same->timing.median) {
            *same = std::move(outcome);
        }
    }
    outcomes = std::move(merged);
}

const Outcome* fastestOf(const RowOutcome& row, const std::vector<std::string>& names) {
    const Outcome* best = nullptr;
    for (const Outcome& outcome : row.outcomes) {
        if (std::find(names.begin(), names.end(), outcome.contender) != names.end()) best = faster(best, outcome);
    }
    return best;
}

}  // namespace

RowOutcome measure(const Row& row, const Effort& effort) {
    RowOutcome measured{row.name, row.title, row.bounds, {}};
    for (const Contender& contender : row.contenders) {
        measured.outcomes.push_back({contender.name, contender.role, {}, largestError(row, contender)});
    }
    const auto timings = measureInterleaved(row, effort);
    for (std::size_t i = 0; i < timings.size(); ++i) measured.outcomes[i].timing = timings[i];
    mergeMemory(measured.outcomes);
    std::stable_sort(measured.outcomes.begin(), measured.outcomes.end(),
                     [](const Outcome& a, const Outcome& b) { return a.role < b.role; });
    return measured;
}

const Outcome* fastest(const RowOutcome& row, Role role) {
    const Outcome* best = nullptr;
    for (const Outcome& outcome : row.outcomes) {
        if (outcome.role == role) best = faster(best, outcome);
    }
    return best;
}

std::vector<Verdict> verdicts(const RowOutcome& row, const Outcome& ours) {
    std::vector<Verdict> all;
    for (const Bound& bound : row.bounds) {
        Verdict verdict;
        verdict.value = ours.timing.median;
        if (!bound.milliseconds) {
            const Outcome* other = bound.against.empty() ? fastest(row, Role::peer) : fastestOf(row, bound.against);
            if (other == nullptr) continue;
            verdict.value /= other->timing.median;
            verdict.against = other->contender;
        }
        for (const bool must : {true, false}) {
            const auto& limit = must ? bound.must : bound.aim;
            if (!limit) continue;
            verdict.must = must;
            verdict.limit = *limit;
            all.push_back(verdict);
        }
    }
    return all;
}

}  // namespace ondrix::benchmarks
