#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Operations.h"
#include "Row.h"
#include "Workers.h"

namespace ondrix::benchmarks {

/// A library that does some of the same work on frames in main memory, with the threads of `Workers` or as many of its
/// own. The tasks hold their frames; an empty task means that the library has no such operation.
class Peer {
public:
    virtual ~Peer() = default;

    [[nodiscard]] virtual std::string name() const = 0;
    /// Video range NV12 to opaque BGRA.
    [[nodiscard]] virtual Task convertNV12(std::shared_ptr<const Frame> luma, std::shared_ptr<const Frame> chroma,
                                           std::shared_ptr<Frame> output);
    /// False where the library has BT.601 only: as much work, other colours.
    [[nodiscard]] virtual bool convertsBT709() const { return true; }
    /// BGRA to BGRA of the same size.
    [[nodiscard]] virtual Task copy(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output);
    /// BGRA scaled with linear interpolation to the placed rows; the other rows are filled with opaque black.
    [[nodiscard]] virtual Task scale(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output,
                                     Placement placement);
    /// BGRA to a smaller BGRA, each pixel the mean of all that it covers. For libraries that leave out no texel.
    [[nodiscard]] virtual Task shrink(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output);
    /// BGRA turned clockwise by a quarter, where the library moves pixels without filtering.
    [[nodiscard]] virtual Task turnQuarter(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output);
    /// The same drawn by a library that filters through any transform.
    [[nodiscard]] virtual Task drawQuarter(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output);
    /// BGRA with linear interpolation; every pixel of the output lies well within the input.
    [[nodiscard]] virtual Task turn(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output,
                                    PixelTransform fromOutput);
    /// `pointChain`, one call for each operation.
    [[nodiscard]] virtual Task applyPointChain(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output);
    /// Video range NV12 scaled to the output's size, to BGRA, `frameLevels` and back. The output has one byte a pixel,
    /// the rows of chroma after those of luma.
    [[nodiscard]] virtual Task processNV12(std::shared_ptr<const Frame> luma, std::shared_ptr<const Frame> chroma,
                                           std::shared_ptr<Frame> output);
    /// P010 in PQ with the primaries of BT.2020 to BGRA in BT.709, scaled to the output's size.
    [[nodiscard]] virtual Task showHDR(std::shared_ptr<const Frame> luma, std::shared_ptr<const Frame> chroma,
                                       std::shared_ptr<Frame> output);
    /// The five by five neighbours of each pixel weighted by `kernel`, zero beyond the edges.
    [[nodiscard]] virtual Task convolve(std::shared_ptr<const Frame> input, std::shared_ptr<Frame> output);
};

/// Fills those of the rows `firstRow` to `endRow` that lie outside the placement with opaque black.
void fillBars(Frame& output, Placement placement, int firstRow, int endRow);

/// Every peer that this program was built with. `workers` must outlive them and their tasks.
[[nodiscard]] std::vector<std::unique_ptr<Peer>> makePeers(Workers& workers);
/// A line for people on everything that isn't measured: libraries that weren't there when this program was built, and
/// what it has no contender for.
[[nodiscard]] std::vector<std::string> missingPeers();

// Each is defined only where its library was found.
[[nodiscard]] std::unique_ptr<Peer> makeLibyuvPeer(Workers& workers);
[[nodiscard]] std::unique_ptr<Peer> makePixmanPeer(Workers& workers);
[[nodiscard]] std::unique_ptr<Peer> makeOpenCVPeer(Workers& workers);
[[nodiscard]] std::unique_ptr<Peer> makeZimgPeer(Workers& workers);

}  // namespace ondrix::benchmarks
