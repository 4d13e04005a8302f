#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>

#include <ondrix/core/DeviceManager.h>

#include "Plot.h"
#include "Report.h"
#include "Rows.h"

using namespace ondrix::benchmarks;

namespace {

struct Options {
    std::vector<std::string> rows;  ///< all when empty
    int rounds = 0;                 ///< by time when 0
    int threads = 1;
    bool tabSeparated = false;
    std::string level;  ///< beside everybody else, at the best level, when empty
    std::string plot;   ///< no picture when empty
};

Effort effort(const Options& options) {
    Effort effort;
    if (!options.level.empty()) effort = {5, 500, std::chrono::milliseconds(500)};
    if (options.rounds > 0) effort.minimumRounds = effort.maximumRounds = options.rounds;
    return effort;
}

/// Ours alone, named by the level.
void keepLevel(Row& row, const std::string& level) {
    std::erase_if(row.contenders, [](const Contender& contender) { return contender.role != Role::ours; });
    for (Contender& contender : row.contenders) contender.name += " " + level;
    row.bounds.clear();
}

void savePlot(const std::string& file, const std::vector<RowOutcome>& rows, int threads) {
    std::ofstream stream(file);
    stream << plot(rows, threads);
    if (!stream.flush()) throw std::runtime_error(file + ": can't be written");
}

void run(const Options& options) {
    // Both are read by the device when it is made.
    setenv("ONDRIX_THREADS", std::to_string(options.threads).c_str(), 1);
    if (!options.level.empty()) setenv("ONDRIX_SIMD", options.level.c_str(), 1);
    Workers workers(options.threads);
    Bench bench{ondrix::DeviceManager::shared().defaultDevice(), makePeers(workers), workers};
    if (!bench.device) throw std::runtime_error("there is no device");
    if (options.level.empty()) {
        for (const std::string& line : missingPeers()) std::fprintf(stderr, "%s\n", line.c_str());
    }

    std::vector<RowOutcome> measured;
    for (const NamedRow& named : allRows()) {
        const auto& wanted = options.rows;
        if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), named.name) == wanted.end()) continue;
        Row row = named.make(bench);
        row.name = named.name;
        row.title = named.title;
        if (!options.level.empty()) keepLevel(row, options.level);
        measured.push_back(measure(row, effort(options)));
        (options.tabSeparated ? printTabSeparated : printTable)(stdout, measured.back(), options.threads);
    }
    if (!options.tabSeparated) printSummary(stdout, measured, options.threads);
    if (!options.plot.empty()) savePlot(options.plot, measured, options.threads);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::vector<std::string> names;
    for (const NamedRow& row : allRows()) names.push_back(row.name);

    CLI::App app("Measures the framework beside other libraries, all in turn in one process.", "ondrix-bench");
    app.add_option("--row", options.rows, "Only this row; can be repeated")->check(CLI::IsMember(names));
    app.add_option("--rounds", options.rounds, "Exactly this many rounds instead of about 4 seconds a row")
        ->check(CLI::Range(1, 1000000));
    app.add_option("--threads", options.threads, "Threads for everybody")->check(CLI::Range(1, 64));
    app.add_flag("--tsv", options.tabSeparated,
                 "One line a contender: task, peer, threads, median_ms, min_ms, max_error");
    app.add_option("--level", options.level, "Only the framework, at this SIMD level");
    app.add_option("--plot", options.plot, "Draws the rows with peers into this SVG file");
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
