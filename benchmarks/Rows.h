#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <ondrix/core/Device.h>
#include <ondrix/passes/Effect.h>
#include <ondrix/resources/Texture.h>

#include "Memory.h"
#include "Peers.h"
#include "Row.h"

namespace ondrix::benchmarks {

/// What rows are made with. Outlives them.
struct Bench {
    std::shared_ptr<Device> device;
    std::vector<std::unique_ptr<Peer>> peers;
    Workers& workers;
};

/// A row by name; its frames are made only when it is.
struct NamedRow {
    std::string name;
    std::string title;
    std::function<Row(Bench&)> make;
};

/// All rows, in the order in which they are measured.
[[nodiscard]] std::vector<NamedRow> allRows();

/// Pixels.
struct Sides {
    int width;
    int height;
};
inline constexpr Sides hd720 = {1280, 720};
inline constexpr Sides hd1080 = {1920, 1080};
inline constexpr Sides uhd4K = {3840, 2160};

// RowsConversion.cpp
[[nodiscard]] Row makeConversionRow(Bench& bench, Sides sides);
/// From a 1080 line video frame to a pixel buffer of 720 lines.
[[nodiscard]] Row makeChainRow(Bench& bench);

// RowsFrames.cpp
/// An NV12 frame to 1080p, through two one-pixel passes and back to NV12, in one command buffer.
[[nodiscard]] Row makeFrameRow(Bench& bench, Sides sides);
/// A 4K frame in PQ shown at 1080p.
[[nodiscard]] Row makeHDRRow(Bench& bench);

// RowsPlacement.cpp
[[nodiscard]] Row makeCopyRow(Bench& bench, Sides sides);
/// An input of these sides is scaled to 1920×1080.
[[nodiscard]] Row makeScaleRow(Bench& bench, Sides sides);
/// A photograph of 24 megapixels as a thumbnail, by means over all that each pixel covers.
[[nodiscard]] Row makeShrinkRow(Bench& bench);
/// A landscape picture in a portrait output, with bars.
[[nodiscard]] Row makeFitRow(Bench& bench);
[[nodiscard]] Row makeQuarterTurnRow(Bench& bench);
[[nodiscard]] Row makeTurnRow(Bench& bench);

// RowsFunctions.cpp
[[nodiscard]] Row makePointChainRow(Bench& bench);
[[nodiscard]] Row makeConvolutionRow(Bench& bench);
[[nodiscard]] Row makeLookUpRow(Bench& bench);

/// An effect without passes: what it costs to commit work and wait for it.
[[nodiscard]] Row makeEmptyRow(Bench& bench, std::chrono::milliseconds idle);

/// Bytes of a picture of four bytes a pixel.
[[nodiscard]] std::size_t bytesOf(Sides sides);
/// A contender that applies the effect and waits for it.
[[nodiscard]] Contender contender(std::string name, std::shared_ptr<Effect> effect, std::shared_ptr<Texture> output);
/// Adds a peer's contender to `row`, unless `run` is empty. Its result is the row's output, if `comparable`.
void addPeer(Row& row, std::string name, Task run, bool comparable = true);

}  // namespace ondrix::benchmarks
