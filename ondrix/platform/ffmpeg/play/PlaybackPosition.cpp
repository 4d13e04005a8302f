#include <ondrix/platform/ffmpeg/play/PlaybackPosition.h>
#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>

namespace ondrix::ffmpeg {

namespace {

constexpr std::int32_t nanoseconds = 1'000'000'000;  // ticks a second

}  // namespace

CMTime PlaybackPosition::heldToRange(CMTime time) const {
    if (CMTimeCompare(time, kCMTimeZero) < 0) return kCMTimeZero;
    return CMTIME_IS_NUMERIC(end_) && CMTimeCompare(time, end_) > 0 ? end_ : time;
}

CMTime PlaybackPosition::now() const {
    if (rate_ == 0) return anchor_;
    const double elapsed = (CACurrentMediaTime() - anchorClock_) * rate_;
    return heldToRange(CMTimeMakeWithSeconds(CMTimeGetSeconds(anchor_) + elapsed, nanoseconds));
}

void PlaybackPosition::setRate(double rate) {
    anchor_ = now();
    anchorClock_ = CACurrentMediaTime();
    rate_ = rate > 0 ? rate : 0;
}

void PlaybackPosition::move(CMTime to) {
    const CMTime position = heldToRange(to);
    if (!CMTIME_IS_NUMERIC(position)) return;
    anchor_ = position;
    anchorClock_ = CACurrentMediaTime();
}

bool PlaybackPosition::stopAtEnd() {
    if (rate_ == 0 || !CMTIME_IS_NUMERIC(end_) || CMTimeCompare(now(), end_) < 0) return false;
    anchor_ = end_;
    rate_ = 0;
    return true;
}

}  // namespace ondrix::ffmpeg
