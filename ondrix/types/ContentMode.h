#pragma once

namespace ondrix {

/// How an image is placed in an output of another aspect ratio.
enum class ContentMode : unsigned char {
    scaleToFill,      ///< stretched over the whole output
    scaleAspectFit,   ///< as large as fits, whole and undistorted
    scaleAspectFill,  ///< as small as covers the output, undistorted, cut at the sides
};

}  // namespace ondrix
