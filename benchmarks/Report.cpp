#include "Report.h"

namespace ondrix::benchmarks {

namespace {

std::string errorText(const Outcome& outcome) {
    return outcome.largestError ? std::to_string(*outcome.largestError) : "-";
}

std::string number(double value, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::string ratioText(const Outcome& outcome, const Outcome* peer) {
    return peer == nullptr ? "-" : number(outcome.timing.median / peer->timing.median, 2);
}

const char* remark(Role role) {
    switch (role) {
        case Role::ours:
        case Role::peer:
            return "";
        case Role::loop:
            return "written by hand";
        case Role::memory:
            return "the memory's limit";
    }
    return "";
}

std::string verdictText(const Verdict& verdict) {
    std::string text = verdict.must ? "must" : "aim";
    text += " <= " + number(verdict.limit, verdict.against.empty() ? 3 : 2);
    text += verdict.against.empty() ? " ms" : " of " + verdict.against;
    text += ": " + number(verdict.value, verdict.against.empty() ? 4 : 2);
    return text + (verdict.met() ? ", met" : verdict.must ? ", MISSED" : ", not yet");
}

/// The musts alone, each with its outcome.
std::string musts(const RowOutcome& row, const Outcome& ours) {
    std::string text;
    for (const Verdict& verdict : verdicts(row, ours)) {
        if (!verdict.must) continue;
        if (!text.empty()) text += "; ";
        text += number(verdict.value, verdict.against.empty() ? 4 : 2) + (verdict.met() ? " <= " : " MISSES ") +
                number(verdict.limit, verdict.against.empty() ? 3 : 2);
        text += verdict.against.empty() ? " ms" : " of " + verdict.against;
    }
    return text;
}

}  // namespace

void printTable(std::FILE* out, const RowOutcome& row, int threads) {
    const Outcome* peer = fastest(row, Role::peer);
    std::fprintf(out, "%s: %s, %d thread%s, %d rounds\n", row.row.c_str(), row.title.c_str(), threads,
                 threads == 1 ? "" : "s", row.outcomes.empty() ? 0 : row.outcomes.front().timing.rounds);
    std::fprintf(out, "  %-18s %10s %10s %8s %6s\n", "", "median ms", "minimum ms", "ratio", "error");
    for (const Outcome& outcome : row.outcomes) {
        const std::string ratio = outcome.role == Role::ours ? ratioText(outcome, peer) : "";
        std::fprintf(out, "  %-18s %10.5f %10.5f %8s %6s  %s\n", outcome.contender.c_str(), outcome.timing.median,
                     outcome.timing.minimum, ratio.c_str(), errorText(outcome).c_str(), remark(outcome.role));
    }
    for (const Outcome& outcome : row.outcomes) {
        if (outcome.role != Role::ours) continue;
        for (const Verdict& verdict : verdicts(row, outcome)) {
            std::fprintf(out, "  %s: %s\n", outcome.contender.c_str(), verdictText(verdict).c_str());
        }
    }
    std::fflush(out);
}

void printSummary(std::FILE* out, const std::vector<RowOutcome>& rows, int threads) {
    std::fprintf(out, "\n%d thread%s, medians in ms\n", threads, threads == 1 ? "" : "s");
    std::fprintf(out, "%-22s %-15s %8s %-16s %8s %6s %8s %6s  %s\n", "", "", "ours", "fastest peer", "", "ratio",
                 "memory", "error", "must");
    for (const RowOutcome& row : rows) {
        const Outcome* peer = fastest(row, Role::peer);
        const Outcome* memory = fastest(row, Role::memory);
        for (const Outcome& ours : row.outcomes) {
            if (ours.role != Role::ours) continue;
            std::fprintf(out, "%-22s %-15s %8.4f %-16s %8s %6s %8s %6s  %s\n", row.row.c_str(), ours.contender.c_str(),
                         ours.timing.median, peer ? peer->contender.c_str() : "-",
                         peer ? number(peer->timing.median, 4).c_str() : "-", ratioText(ours, peer).c_str(),
                         memory ? number(memory->timing.median, 4).c_str() : "-", errorText(ours).c_str(),
                         musts(row, ours).c_str());
        }
    }
    std::fflush(out);
}

void printTabSeparated(std::FILE* out, const RowOutcome& row, int threads) {
    for (const Outcome& outcome : row.outcomes) {
        std::fprintf(out, "%s\t%s\t%d\t%.5f\t%.5f\t%s\n", row.row.c_str(), outcome.contender.c_str(), threads,
                     outcome.timing.median, outcome.timing.minimum, errorText(outcome).c_str());
    }
    std::fflush(out);
}

}  // namespace ondrix::benchmarks
