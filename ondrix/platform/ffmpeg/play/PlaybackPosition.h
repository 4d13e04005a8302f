#pragma once

#include <ondrix/platform/coremedia/CMTime.h>

namespace ondrix::ffmpeg {

/// A position in a movie that runs with the media clock, between zero and the movie's end.
class PlaybackPosition {
public:
    /// Stands still at zero. An `end` that isn't numeric is one that isn't known.
    explicit PlaybackPosition(CMTime end) : end_(end) {}

    [[nodiscard]] CMTime now() const;
    [[nodiscard]] CMTime end() const { return end_; }
    [[nodiscard]] double rate() const { return rate_; }

    void setEnd(CMTime end) { end_ = end; }
    /// Below 0 and not-a-number are taken for 0.
    void setRate(double rate);
    /// Goes to `to`, or to the nearer end of the movie's range; stays where that isn't numeric.
    void move(CMTime to);
    /// True when the position runs and has come to the end, where it stands still from then on.
    [[nodiscard]] bool stopAtEnd();

private:
    [[nodiscard]] CMTime heldToRange(CMTime time) const;

    CMTime end_;
    CMTime anchor_ = kCMTimeZero;  ///< the position when the media clock showed `anchorClock_`
    double anchorClock_ = 0;       ///< seconds
    double rate_ = 0;
};

}  // namespace ondrix::ffmpeg
