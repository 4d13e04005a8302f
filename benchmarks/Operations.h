#pragma once

#include <array>
#include <variant>
#include <vector>

#include "Frame.h"
#include "FunctionConstants.h"

namespace ondrix::benchmarks {

// What the rows do with pixels beyond copying and scaling, described once for everybody who does it. Components, alpha
// among them, are 0 to 1 and rounded to 8 bits after every operation.

/// Every component becomes its own square.
struct Square {};

/// An operation on single pixels, the same on all four components.
using PointOperation = std::variant<Levels, Square, MixInverse>;

/// Four of them, none of which comes to lie halfway between two levels. Each is a single call of OpenCV, one that it
/// has vector code for.
inline constexpr std::array<PointOperation, 4> pointChain = {Levels{1.2f, -10.0f / 255.0f}, Square{}, MixInverse{0.25f},
                                                             Levels{0.8f, 20.0f / 255.0f}};

/// Sums to 1, isn't symmetric and doesn't fall into a product of a row and a column.
inline constexpr Kernel kernel = {{{0.010f, 0.018f, -0.021f, 0.030f, 0.007f},
                                   {0.023f, -0.034f, 0.108f, 0.061f, -0.015f},
                                   {-0.017f, 0.124f, 0.330f, 0.117f, 0.026f},
                                   {0.031f, 0.072f, 0.095f, -0.042f, 0.014f},
                                   {0.006f, -0.019f, 0.037f, 0.020f, 0.019f}}};

/// What is done to video frames, for which a library needs steps of 1/64.
inline constexpr std::array<Levels, 2> frameLevels = {Levels{80.0f / 64, -4.0f / 64}, Levels{48.0f / 64, 8.0f / 64}};

/// A turn of the picture around the middle, enlarged so much that the turned picture covers an output of its own size.
struct Turn {
    double degrees;  ///< clockwise
    double enlargement;
};
inline constexpr Turn sevenDegrees = {7.0, 1.25};

/// From pixels of the output to pixels of the input, both counted from the top-left corner: x' = xx * x + xy * y + x0,
/// and y' likewise.
struct PixelTransform {
    double xx, xy, x0;
    double yx, yy, y0;
};
[[nodiscard]] PixelTransform fromOutput(const Turn& turn, int width, int height);

/// Entries along each side of the table of colours.
inline constexpr int tableSize = 33;
/// A table of colours, as a picture: red along the row, green down, one square after another to the right for blue.
[[nodiscard]] Frame makeColourTable();

}  // namespace ondrix::benchmarks
