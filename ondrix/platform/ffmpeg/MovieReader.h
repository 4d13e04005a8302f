#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/platform/ffmpeg/MovieInformation.h>
#include <ondrix/platform/ffmpeg/MovieOptions.h>
#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/foundation/URL.h>

namespace ondrix {

/// What the frames of a reader may be.
enum class MovieFrameFormat {
    BGRA,    ///< always 'BGRA'
    native,  ///< '420v' or '420f' for 8-bit 4:2:0 in BT.709, without any conversion; 'BGRA' for everything else
    /// The decoder's own pictures, mostly without a copy, in any format of CVPixelBuffer.h, with their colours stated
    /// by attachments: what a `FrameTexture` shows. To be read only. Formats that aren't there come in the nearest one:
    /// with as much chroma, or more, and up to 10 bits; alpha, and red, green and blue in 'BGRA'.
    decoded,
};

/// Reads the pictures of a movie file, each once, in the order in which they are shown, upright, with their exact
/// times. For one thread at a time, apart from `cancel`. Colours are taken as the file says (BT.601, BT.709, video or
/// full range); where it doesn't say, as is usual for the size, which is logged once a file.
class MovieReader {
public:
    /// Null, with the reason, for a file that can't be opened, holds no pictures, goes beyond a limit of the options,
    /// or needs a decoder that isn't there. No other file is opened.
    [[nodiscard]] static std::shared_ptr<MovieReader> open(const URL& file, MovieFrameFormat format, NSError* error);
    /// The same with options of one's own. What isn't a regular file, such as a pipe, is read from its beginning to its
    /// end, where the format allows that.
    [[nodiscard]] static std::shared_ptr<MovieReader> open(const URL& file, MovieFrameFormat format,
                                                           const MovieOptions& options, NSError* error);
    virtual ~MovieReader() = default;

    [[nodiscard]] virtual const MovieInformation& information() const = 0;

    /// The next frame with its presentation time, decode time and duration (how long it is shown), in a pixel buffer
    /// from a pool that grows to what is held. Times rise: where a file's go back, as in joined files, they go on. A
    /// frame whose size differs from the one before has its own size. Damaged frames are left out and counted. Null at
    /// the end, after `cancel`, and after a failure, which `error()` then tells.
    [[nodiscard]] virtual std::shared_ptr<CMSampleBuffer> copyNextSampleBuffer() = 0;
    /// Why reading stopped before the end; nothing when it didn't.
    [[nodiscard]] virtual std::optional<NSError> error() const = 0;
    /// Frames and packets that couldn't be decoded so far.
    [[nodiscard]] virtual std::int64_t lostFrameCount() const = 0;

    /// The next frame will be the one that is on screen at `time`: the last that starts at it or before, or the first
    /// of the movie. False when the file can't be searched; a pipe can only go on.
    [[nodiscard]] virtual bool seek(CMTime time) = 0;
    /// Ends a `copyNextSampleBuffer` that is waiting for the file, and all later ones. Safe to use from any thread.
    virtual void cancel() = 0;
};

}  // namespace ondrix
