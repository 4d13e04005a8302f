#pragma once

#include <cstdint>
#include <string>

#include <ondrix/platform/coremedia/CMTime.h>

namespace ondrix {

/// What is known of a movie's picture before its frames are read.
struct MovieInformation {
    std::int64_t width = 0;       ///< pixels of an upright frame
    std::int64_t height = 0;      ///< pixels of an upright frame
    CMTime start;                 ///< of the first frame as the file says; may be negative
    CMTime duration;              ///< from the first frame to the end of the last; indefinite when the file doesn't say
    double frameRate = 0;         ///< mean frames a second; 0 when not known
    std::int64_t frameCount = 0;  ///< an estimate; 0 when not known
    std::int32_t timescale = 0;   ///< ticks a second of the frames' times
    std::string codec;            ///< short name, such as "h264"
    int clockwiseTurn = 0;        ///< degrees by which stored frames are turned to stand upright: 0, 90, 180, 270
    bool isBT709 = false;         ///< colours are, or are taken for, BT.709
    bool isFullRange = false;
};

}  // namespace ondrix
