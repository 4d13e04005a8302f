#pragma once

#include <cstdint>
#include <string>

#include <ondrix/platform/ffmpeg/FFmpeg.h>

namespace ondrix::ffmpeg {

/// Counts what the index of a QuickTime or MP4 file names, without reading it: a few bytes can name thousands of
/// millions of pictures, for each of which the library would take memory. False with the reason; otherwise `io`, which
/// can be sought, stands at its start.
[[nodiscard]] bool isIndexWithinLimit(AVIOContext& io, std::int64_t maximumEntries, std::string& reason);

}  // namespace ondrix::ffmpeg
