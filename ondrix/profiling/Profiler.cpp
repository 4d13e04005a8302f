#include <new>
#include <stdexcept>

#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>
#include <ondrix/profiling/MeanTimer.h>
#include <ondrix/profiling/Profiler.h>

namespace ondrix {

struct Profiler::TimerInfo {
    MeanTimer timer;  ///< of the present period
    double meanInterval = 0;
};

Profiler::Profiler(Int timerCount, double updateInterval)
    : updateInterval_(updateInterval), lastUpdateTime_(CACurrentMediaTime()), timers_(timerCount) {}

Profiler::~Profiler() = default;

std::shared_ptr<Profiler> Profiler::create(Int timerCount, double updateInterval) {
    if (timerCount < 0) return nullptr;
    try {
        return std::shared_ptr<Profiler>(new Profiler(timerCount, updateInterval));
    } catch (const std::bad_alloc&) {
        return nullptr;
    } catch (const std::length_error&) {
        return nullptr;
    }
}

bool Profiler::isStarted() const {
    return isStarted_;
}

bool Profiler::isTimer(Int index) const noexcept {
    return index >= 0 && index < static_cast<Int>(timers_.size());
}

std::optional<double> Profiler::getMeanInterval(Int timerIndex) const {
    if (!isTimer(timerIndex)) return std::nullopt;
    return timers_[timerIndex].meanInterval;
}

void Profiler::onStarted(Int timerIndex) {
    if (isTimer(timerIndex)) timers_[timerIndex].timer.start();
}

void Profiler::onEnded(Int timerIndex) {
    if (isTimer(timerIndex)) timers_[timerIndex].timer.stop();
}

bool Profiler::update() {
    const double now = CACurrentMediaTime();
    if (!(updateInterval_ <= now - lastUpdateTime_)) return false;
    for (TimerInfo& info : timers_) {
        info.meanInterval = info.timer.mean();
        info.timer = MeanTimer();
    }
    lastUpdateTime_ = now;
    return true;
}

}  // namespace ondrix
