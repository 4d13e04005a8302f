#include "Rows.h"

#include <utility>

namespace ondrix::benchmarks {

std::vector<NamedRow> allRows() {
    using std::chrono::milliseconds;
    std::vector<NamedRow> rows = {
        {"nv12_1080", makeConversionRow},
        {"copy_1080", makeCopyRow},
        {"scale_720_to_1080", [](Bench& bench) { return makeScaleRow(bench, 1280, 720); }},
        {"scale_4k_to_1080", [](Bench& bench) { return makeScaleRow(bench, 3840, 2160); }},
        {"present_fit", makePresentRow},
        {"empty_apply", [](Bench& bench) { return makeEmptyRow(bench, milliseconds(0)); }},
        {"empty_apply_idle", [](Bench& bench) { return makeEmptyRow(bench, milliseconds(5)); }},
    };
    return rows;
}

void addPeer(Row& row, const Peer& peer, Task run, bool comparable) {
    if (!run) return;
    Contender contender{peer.name(), false, std::move(run), {}};
    if (comparable) contender.result = [output = row.output] { return output; };
    row.contenders.push_back(std::move(contender));
}

}  // namespace ondrix::benchmarks
