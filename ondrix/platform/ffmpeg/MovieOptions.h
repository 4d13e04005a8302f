#pragma once

#include <cstdint>
#include <functional>

namespace ondrix {

/// How a movie file is opened and how much it may take. The defaults are for files from strangers: one file is opened
/// and no other, and a small file can't take much memory. What goes beyond a limit is refused before its memory is
/// taken, with a reason that names the limit.
struct MovieOptions {
    /// Playlists (HLS, DASH, ffconcat, SDP) are opened, too. They name other files and network addresses, which this
    /// process then reads with its own rights. Otherwise only movies whose format holds all of a movie are opened, and
    /// nothing beside the file itself.
    bool allowsPlaylists = false;

    /// Pixels of a picture: 8K by default. The sides are 16384 at most, too.
    std::int64_t maximumPixels = std::int64_t{8192} * 4320;
    /// Bytes of decoded pictures that the decoder holds at once. It gets as many threads as go well with that.
    std::int64_t maximumDecodingMemory = std::int64_t{512} << 20;
    int maximumStreams = 100;
    /// Pictures, pieces of sound and so on that the index of a QuickTime or MP4 file names, all streams together. Each
    /// takes up to 60 bytes. Not counted in pipes.
    std::int64_t maximumIndexEntries = 8'000'000;
    /// Bytes from the file's beginning in which its streams have to show themselves.
    std::int64_t maximumProbeBytes = 5'000'000;
    /// Seconds of movie that are looked at for the same purpose.
    double maximumProbeSeconds = 5;

    /// Where it is given, it is asked every 20 ms while a pipe keeps its reader waiting, and now and then otherwise;
    /// true ends the opening or reading as `cancel` does. Called on any thread; must not throw.
    std::function<bool()> isCancelled = {};
};

}  // namespace ondrix
