#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <ondrix/platform/ffmpeg/MovieOptions.h>
#include <ondrix/video/VideoFrameSource.h>

#include "tools/drawing/Picture.h"

namespace ondrix::tools {

/// What `ondrix play` shows: a movie, or a live source. For the main thread.
class PlayInput {
public:
    /// Opens a movie file, or a live source given as "DEVICE:NAME". A `Failure` that names it when that can't be done,
    /// or `Interrupted`.
    [[nodiscard]] static std::unique_ptr<PlayInput> open(const std::string& name, const MovieOptions& options);
    virtual ~PlayInput() = default;

    /// Of an upright frame.
    [[nodiscard]] virtual PictureSize size() const = 0;

    /// Where the frames come from on the main run loop once playing has started; the same at every call.
    [[nodiscard]] virtual std::shared_ptr<VideoFrameSource> frameSource() = 0;
    virtual void start() = 0;
    /// To be called at every refresh of the display.
    virtual void refresh() = 0;

    /// Stands still, or goes on; from the beginning after a movie's end.
    virtual void togglePause() = 0;
    /// Jumps, within the movie; a live source stays where it is.
    virtual void seekBy(int seconds) = 0;

    [[nodiscard]] virtual bool hasEnded() const = 0;
    /// Frames that a live source lost because they came faster than they were taken.
    [[nodiscard]] virtual std::int64_t droppedFrameCount() const = 0;
    /// Throws a `Failure` when the frames ended because of an error.
    virtual void checkEnd() const = 0;
};

}  // namespace ondrix::tools
