#pragma once

namespace ondrix {

/// A size in pixels, or in points where that is said; may be fractional.
struct CGSize {
    double width = 0;
    double height = 0;
};

}  // namespace ondrix
