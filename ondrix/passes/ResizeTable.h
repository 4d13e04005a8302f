#pragma once

#include <vector>

#include <ondrix/types/Int.h>
#include <ondrix/types/ResizeFilter.h>

namespace ondrix {

/// Where a picture lies on an axis of the output, in pixels.
struct ResizeSpan {
    double start, length;
    friend bool operator==(const ResizeSpan&, const ResizeSpan&) = default;
};

/// The weights of a filter along one axis, worked out in double precision, as the function "Ondrix::Resize" reads them.
struct ResizeTable {
    /// For pictures of `inputLength` pixels in the span of an output of `outputLength` pixels; lengths are at least 1.
    ResizeTable(ResizeFilter filter, Int inputLength, Int outputLength, ResizeSpan span);

    Int first, count;           ///< pixels of the output whose centres lie in the span
    Int rows = 1;               ///< of the table, which has `count` columns
    double scale = 1;           ///< what sums are multiplied with
    std::vector<float> values;  ///< four for each place, row by row
};

}  // namespace ondrix
