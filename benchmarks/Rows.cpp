#include "Rows.h"

#include <utility>

#include "Pixels.h"

namespace ondrix::benchmarks {

namespace {

Row withBounds(Row row, std::vector<Bound> bounds) {
    row.bounds = std::move(bounds);
    return row;
}

/// A bound in times of the fastest peer.
Bound ofFastest(double must, double aim) {
    return {must, aim, {}};
}

std::vector<NamedRow> pictureRows() {
    return {
        {"nv12_1080", "NV12 to BGRA, 1080p",
         [](Bench& bench) { return withBounds(makeConversionRow(bench, hd1080), {ofFastest(1.15, 1.0)}); }},
        {"nv12_4k", "NV12 to BGRA, 4K",
         [](Bench& bench) { return withBounds(makeConversionRow(bench, uhd4K), {ofFastest(1.05, 0.9)}); }},
        {"copy_1080", "Copy, 1080p",
         [](Bench& bench) { return withBounds(makeCopyRow(bench, hd1080), {ofFastest(1.1, 1.0)}); }},
        {"copy_4k", "Copy, 4K",
         [](Bench& bench) { return withBounds(makeCopyRow(bench, uhd4K), {ofFastest(0.85, 0.75)}); }},
        {"scale_4k_to_1080", "Scale 4K to 1080p",
         [](Bench& bench) { return withBounds(makeScaleRow(bench, uhd4K), {ofFastest(0.95, 0.8)}); }},
        {"scale_720_to_1080", "Scale 720p to 1080p",
         [](Bench& bench) {
             return withBounds(makeScaleRow(bench, hd720), {ofFastest(1.0, 0.7), {0.5, 0.35, {"pixman"}}});
         }},
        {"area_24mp", "Means of areas, 24 megapixels to 640x427",
         [](Bench& bench) { return withBounds(makeShrinkRow(bench), {ofFastest(0.9, 0.6)}); }},
        {"present_rot90", "Quarter turn, 1080p",
         [](Bench& bench) {
             return withBounds(makeQuarterTurnRow(bench), {{0.8, 0.6, {"libyuv", "opencv"}}});
         }},
        {"present_fit", "Fit 1920x1080 into 1080x1920",
         [](Bench& bench) { return withBounds(makeFitRow(bench), {ofFastest(0.85, 0.6)}); }},
        {"chain_1080", "NV12 1080p to BGRA to 720p to pixel buffer",
         [](Bench& bench) { return withBounds(makeChainRow(bench), {ofFastest(0.75, 0.5)}); }},
        {"frame_4k", "NV12 4K to 1080p, two passes, to NV12",
         [](Bench& bench) { return withBounds(makeFrameRow(bench, uhd4K), {ofFastest(0.6, 0.4)}); }},
        {"frame_1080", "NV12 1080p, two passes, to NV12",
         [](Bench& bench) { return withBounds(makeFrameRow(bench, hd1080), {ofFastest(0.75, 0.5)}); }},
        {"hdr_4k", "P010 in PQ, 4K, to BGRA, 1080p",
         [](Bench& bench) { return withBounds(makeHDRRow(bench), {ofFastest(0.5, 0.25)}); }},
        {"turn_7_degrees", "Turn by 7 degrees, 1080p",
         [](Bench& bench) { return withBounds(makeTurnRow(bench), {ofFastest(0.8, 0.5)}); }},
    };
}

std::vector<NamedRow> functionRows() {
    return {
        {"pointwise_chain_1080", "Own functions: four one-pixel passes, 1080p",
         [](Bench& bench) {
             return withBounds(makePointChainRow(bench),
                               {{1.0, std::nullopt, {}}, {std::nullopt, 1.25, {"fused-float-loop"}}});
         }},
        {"convolution_5x5_1080", "Own function: 5x5 convolution, 1080p",
         [](Bench& bench) {
             return withBounds(makeConvolutionRow(bench),
                               {ofFastest(1.05, 0.8), {1.5, std::nullopt, {"planar-avx2-loop"}}});
         }},
        {"look_up_3d_1080", "Own function: 3-D look-up table, 1080p",
         [](Bench& bench) {
             return withBounds(makeLookUpRow(bench), {{std::nullopt, 1.5, {"look-up-loop"}}});
         }},
    };
}

std::vector<NamedRow> emptyRows() {
    using std::chrono::milliseconds;
    return {
        {"empty_apply", "Empty effect, back to back",
         [](Bench& bench) {
             return withBounds(makeEmptyRow(bench, milliseconds(0)), {{0.005, 0.002, {}, true}});
         }},
        {"empty_apply_idle", "Empty effect, after 5 ms without work",
         [](Bench& bench) {
             return withBounds(makeEmptyRow(bench, milliseconds(5)), {{0.03, 0.005, {}, true}});
         }},
    };
}

}  // namespace

std::vector<NamedRow> allRows() {
    auto rows = pictureRows();
    for (auto& part : {functionRows(), emptyRows()}) rows.insert(rows.end(), part.begin(), part.end());
    return rows;
}

Row makeEmptyRow(Bench& bench, std::chrono::milliseconds idle) {
    Row row;
    row.idle = idle;
    const auto effect = Effect::create(bench.device);
    effect->setShouldWaitForCompletion(true);
    row.contenders.push_back({"ondrix", Role::ours, [effect] { return effect->apply(nullptr); }, {}});
    return row;
}

std::size_t bytesOf(Sides sides) {
    return static_cast<std::size_t>(sides.width) * static_cast<std::size_t>(sides.height) * 4;
}

Contender contender(std::string name, std::shared_ptr<Effect> effect, std::shared_ptr<Texture> output) {
    effect->setShouldWaitForCompletion(true);
    return {std::move(name), Role::ours, [effect] { return effect->apply(nullptr); },
            [output] { return read(*output); }};
}

void addPeer(Row& row, std::string name, Task run, bool comparable) {
    if (!run) return;
    Contender peer{std::move(name), Role::peer, std::move(run), {}};
    if (comparable) peer.result = [output = row.output] { return output; };
    row.contenders.push_back(std::move(peer));
}

}  // namespace ondrix::benchmarks
