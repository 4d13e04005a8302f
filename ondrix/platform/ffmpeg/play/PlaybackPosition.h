#pragma once

#include <ondrix/platform/coremedia/CMTime.h>

namespace ondrix::ffmpeg {

/// A position in a movie that runs with the media clock, between zero and the movie's end.
class PlaybackPosition {
public:
    /// Standing still at zero. An `end` that isn't numeric isn't known.
    explicit PlaybackPosition(CMTime end) : end_(end) {}

    [[nodiscard]] CMTime now() const;
    [[nodiscard]] CMTime end() const { return end_; }
    [[nodiscard]] double rate() const { return rate_; }

    void setEnd(CMTime end) { end_ = end; }
    /// Below 0 and not-a-number are taken for 0.
    void setRate(double rate);
    /// Held to the movie's range; ignored when that leaves no number.
    void move(CMTime to);
    /// True once each time that the end is reached; stands still from then on.
    [[nodiscard]] bool stopAtEnd();

private:
    [[nodiscard]] CMTime heldToRange(CMTime time) const;

    CMTime end_;
    CMTime anchor_ = kCMTimeZero;  ///< position at `anchorClock_`
    double anchorClock_ = 0;       ///< seconds of the media clock
    double rate_ = 0;
};

}  // namespace ondrix::ffmpeg
