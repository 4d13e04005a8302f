#pragma once

namespace ondrix {

/// How the pixels of a resized picture follow from those of the input.
enum class ResizeFilter : unsigned char {
    nearest,  ///< the one that the centre lies in
    linear,   ///< on straight lines between the two by two around the centre
    area,     ///< the mean of all that the pixel covers, each as far as it is covered
    lanczos,  ///< Lanczos with three lobes, as wide as the pixels of the output where these are the larger ones
};

}  // namespace ondrix
