#include "Report.h"

#include <algorithm>

namespace ondrix::benchmarks {

namespace {

std::optional<double> fastestPeer(const std::vector<Outcome>& outcomes) {
    std::optional<double> fastest;
    for (const Outcome& outcome : outcomes) {
        if (!outcome.ours) fastest = std::min(fastest.value_or(outcome.timing.median), outcome.timing.median);
    }
    return fastest;
}

std::string errorText(const Outcome& outcome) {
    return outcome.largestError ? std::to_string(*outcome.largestError) : "-";
}

}  // namespace

void printTable(std::FILE* out, const std::string& row, int threads, const std::vector<Outcome>& outcomes) {
    const auto fastest = fastestPeer(outcomes);
    std::fprintf(out, "%s, %d thread%s, %d rounds\n", row.c_str(), threads, threads == 1 ? "" : "s",
                 outcomes.empty() ? 0 : outcomes.front().timing.rounds);
    std::fprintf(out, "  %-16s %10s %10s %8s %6s\n", "", "median ms", "minimum ms", "ratio", "error");
    for (const Outcome& outcome : outcomes) {
        char ratio[16] = "";
        if (outcome.ours && fastest) std::snprintf(ratio, sizeof ratio, "%.2f", outcome.timing.median / *fastest);
        std::fprintf(out, "  %-16s %10.5f %10.5f %8s %6s\n", outcome.contender.c_str(), outcome.timing.median,
                     outcome.timing.minimum, ratio, errorText(outcome).c_str());
    }
    std::fflush(out);
}

void printTabSeparated(std::FILE* out, const std::string& row, int threads, const std::vector<Outcome>& outcomes) {
    for (const Outcome& outcome : outcomes) {
        std::fprintf(out, "%s\t%s\t%d\t%.5f\t%.5f\t%s\n", row.c_str(), outcome.contender.c_str(), threads,
                     outcome.timing.median, outcome.timing.minimum, errorText(outcome).c_str());
    }
    std::fflush(out);
}

}  // namespace ondrix::benchmarks
