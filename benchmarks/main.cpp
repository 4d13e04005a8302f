#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include <ondrix/core/DeviceManager.h>

#include "Interleave.h"
#include "Reference.h"
#include "Report.h"
#include "Rows.h"

using namespace ondrix::benchmarks;

namespace {

struct Options {
    std::vector<std::string> rows;  ///< all when empty
    int rounds = 0;                 ///< by time when 0
    int threads = 1;
    bool tabSeparated = false;
};

std::optional<int> largestError(const Row& row, const Contender& contender) {
    if (row.output) row.output->fill(0x55);
    if (!contender.run()) throw std::runtime_error(row.name + ": " + contender.name + " failed");
    if (!contender.result) return std::nullopt;
    return largestDifference(*contender.result(), *row.reference);
}

std::vector<Outcome> measure(const Row& row, const Effort& effort) {
    std::vector<Outcome> outcomes;
    for (const Contender& contender : row.contenders) {
        outcomes.push_back({contender.name, contender.ours, {}, largestError(row, contender)});
    }
    const auto timings = measureInterleaved(row, effort);
    for (std::size_t i = 0; i < outcomes.size(); ++i) outcomes[i].timing = timings[i];
    return outcomes;
}

void run(const Options& options) {
    // Read by the device when it is made.
    setenv("ONDRIX_THREADS", std::to_string(options.threads).c_str(), 1);
    Workers workers(options.threads);
    Bench bench{ondrix::DeviceManager::shared().defaultDevice(), makePeers(workers)};
    if (!bench.device) throw std::runtime_error("there is no device");
    for (const std::string& name : missingPeers()) std::fprintf(stderr, "%s: not installed\n", name.c_str());

    Effort effort;
    if (options.rounds > 0) effort.minimumRounds = effort.maximumRounds = options.rounds;
    for (const NamedRow& named : allRows()) {
        const auto& wanted = options.rows;
        if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), named.name) == wanted.end()) continue;
        Row row = named.make(bench);
        row.name = named.name;
        const auto outcomes = measure(row, effort);
        (options.tabSeparated ? printTabSeparated : printTable)(stdout, row.name, options.threads, outcomes);
    }
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::vector<std::string> names;
    for (const NamedRow& row : allRows()) names.push_back(row.name);

    CLI::App app("Measures the framework beside other libraries, all in turn in one process.", "ondrix-bench");
    app.add_option("--row", options.rows, "Only this row; can be repeated")->check(CLI::IsMember(names));
    app.add_option("--rounds", options.rounds, "Exactly this many rounds instead of about 3 seconds a row")
        ->check(CLI::Range(1, 1000000));
    app.add_option("--threads", options.threads, "Threads for everybody")->check(CLI::Range(1, 64));
    app.add_flag("--tsv", options.tabSeparated,
                 "One line a contender: task, peer, threads, median_ms, min_ms, max_error");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }

    try {
        run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ondrix-bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
