#pragma once

#include <cstdint>

namespace ondrix {

/// What "Ondrix::Resize" reads from buffer 0. Its tables are textures of rgba32f with a column for each column or row
/// that is drawn: in the first row the number of the first texel, how many there are, and the weights of the first and
/// the last of them, those between having the weight 1. With `hasWeights` the rows below hold a weight for each texel
/// instead, four a row.
struct ResizeConstants {
    std::int32_t x, y, width, height;  ///< of the output: what is drawn; the rest becomes opaque black
    float scale;                       ///< what sums are multiplied with, 1 over the sum of all weights
    std::int32_t hasWeights;
};

}  // namespace ondrix
