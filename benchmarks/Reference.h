#pragma once

#include "Operations.h"

namespace ondrix::benchmarks {

/// What the rows should produce, computed pixel by pixel in double precision and rounded to the nearest 8-bit level.
/// Nothing here is shared with the framework or the libraries it is measured against.

/// Video range NV12 to opaque BGRA with the converter's BT.709 constants; each chroma sample covers two by two pixels.
[[nodiscard]] Frame convertedNV12(const Frame& luma, const Frame& chroma);

/// Video range NV12 to opaque BGRA by the equations of BT.709, chroma interpolated from beside the left columns.
[[nodiscard]] Frame shownNV12(const Frame& luma, const Frame& chroma);
/// The way back, the rows of chroma after those of luma.
[[nodiscard]] Frame writtenNV12(const Frame& picture);
/// P010 in PQ with the primaries of BT.2020, on a display of 1000 cd/m2, as SDR with a white of 203 cd/m2.
[[nodiscard]] Frame shownHDR(const Frame& luma, const Frame& chroma);

/// `input` scaled with linear interpolation between pixel centres, the edge pixels continued outwards, into the placed
/// rows of a BGRA output of the given sides; the bars are opaque black.
[[nodiscard]] Frame scaled(const Frame& input, int width, int height, Placement placement);

/// Every pixel of a smaller output is the mean of all that it covers.
[[nodiscard]] Frame shrunk(const Frame& input, int width, int height);

/// Turned clockwise by a quarter.
[[nodiscard]] Frame turnedQuarter(const Frame& input);
/// Every pixel of an output of the same size, with linear interpolation at its place in the input.
[[nodiscard]] Frame turned(const Frame& input, const PixelTransform& transform);

/// Both `frameLevels`, rounded after each.
[[nodiscard]] Frame withFrameLevels(const Frame& input);
/// `pointChain`, rounded after each operation.
[[nodiscard]] Frame pointChained(const Frame& input);
/// The neighbours weighted by `kernel`, zero beyond the edges.
[[nodiscard]] Frame convolved(const Frame& input);
/// Every colour by the table, trilinear; alpha stays.
[[nodiscard]] Frame lookedUp(const Frame& input, const Frame& table);

/// The largest difference between two frames of the same kind, in levels.
[[nodiscard]] int largestDifference(const Frame& a, const Frame& b);

}  // namespace ondrix::benchmarks
