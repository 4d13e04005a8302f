#pragma once

#include <array>
#include <vector>

#include "Operations.h"

/// Work of single rows written by hand for nothing else, as a measure of what a framework costs. Rows `firstRow` to
/// `endRow` of the output, which has the size of the input; frames are BGRA.
namespace ondrix::benchmarks::loops {

/// `pointChain` in one pass over the pixels, with the roundings of the four. Built for the machine at hand.
void applyPointChain(const Frame& input, Frame& output, int firstRow, int endRow);

/// A table of colours prepared for `lookUp`: colours as numbers, and for each level where it lies in the table.
class ColourTable {
public:
    explicit ColourTable(const Frame& table);

    /// Trilinear, keeping alpha. Built for the machine at hand.
    void lookUp(const Frame& input, Frame& output, int firstRow, int endRow) const;

private:
    struct Place {
        int entry;
        float fraction;
    };

    std::vector<float> colours_;  ///< 4 an entry
    std::array<Place, 256> places_;
};

/// False where `convolve` can't run.
[[nodiscard]] bool canConvolve();
/// Five by five neighbours, zero beyond the edges: one plane of numbers a component, in AVX2. Widths in multiples of
/// 16.
void convolve(const Kernel& kernel, const Frame& input, Frame& output, int firstRow, int endRow);

}  // namespace ondrix::benchmarks::loops
