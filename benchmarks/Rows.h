#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <ondrix/core/Device.h>

#include "Peers.h"
#include "Row.h"

namespace ondrix::benchmarks {

/// What rows are made with. Outlives them.
struct Bench {
    std::shared_ptr<Device> device;
    std::vector<std::unique_ptr<Peer>> peers;
};

/// A row by name; its frames are made only when it is.
struct NamedRow {
    std::string name;
    std::function<Row(Bench&)> make;
};

/// All rows, in the order in which they are measured.
[[nodiscard]] std::vector<NamedRow> allRows();

[[nodiscard]] Row makeConversionRow(Bench& bench);
[[nodiscard]] Row makeCopyRow(Bench& bench);
/// `width` and `height` of the input, which is scaled to 1920×1080.
[[nodiscard]] Row makeScaleRow(Bench& bench, int width, int height);
[[nodiscard]] Row makePresentRow(Bench& bench);
/// An effect without passes: what it costs to commit work and wait for it.
[[nodiscard]] Row makeEmptyRow(Bench& bench, std::chrono::milliseconds idle);

/// Adds a peer's contender to `row`, unless `run` is empty. Its result is the row's output, if `comparable`.
void addPeer(Row& row, const Peer& peer, Task run, bool comparable);

}  // namespace ondrix::benchmarks
