#pragma once

namespace ondrix {

/// A size in the platform's coordinates; may be fractional.
struct CGSize {
    double width = 0;
    double height = 0;
};

}  // namespace ondrix
