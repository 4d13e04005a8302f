#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>
#include <ondrix/profiling/MeanTimer.h>

namespace ondrix {

void MeanTimer::start() {
    stop();
    startTime_ = CACurrentMediaTime();
}

void MeanTimer::stop() {
    if (!startTime_) return;
    const double interval = CACurrentMediaTime() - *startTime_;
    ++count_;
    mean_ += (interval - mean_) / static_cast<double>(count_);
    startTime_.reset();
}

}  // namespace ondrix
