#include <atomic>
#include <cassert>
#include <cmath>
#include <limits>

#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>
#include <ondrix/platform/quartzcore/CADisplayLink.h>

namespace ondrix {

namespace {

constinit std::atomic<double> refreshRate = 60;

/// Refreshes are the multiples of the interval, for all links alike, so that nothing adds up.
double nextRefresh() {
    const double now = CACurrentMediaTime();
    const double interval = CADisplayLink::refreshInterval();
    const double next = (std::floor(now / interval) + 1) * interval;
    return next > now ? next : next + interval;
}

}  // namespace

CADisplayLink::CADisplayLink(std::function<void()> action)
    : action_(std::make_shared<const std::function<void()>>(std::move(action))) {}

std::shared_ptr<CADisplayLink> CADisplayLink::create(std::function<void()> action) {
    return os::orAbsent([&] {
        assert(action);
        return std::shared_ptr<CADisplayLink>(new CADisplayLink(std::move(action)));
    });
}

void CADisplayLink::add(NSRunLoop& toRunLoop) {
    assert(isValid());
    nextFireTime_ = nextRefresh();
    toRunLoop.add(shared_from_this());
}

void CADisplayLink::invalidate() {
    // The target may own the link and everything else: released last, when the link has let go of it.
    const auto released = std::move(action_);
    action_ = nullptr;
}

void CADisplayLink::setPaused(bool paused) noexcept {
    if (paused_ && !paused) nextFireTime_ = nextRefresh();
    paused_ = paused;
}

double CADisplayLink::refreshInterval() noexcept {
    return 1 / refreshRate.load();
}

void CADisplayLink::setRefreshRate(double hertz) noexcept {
    if (hertz >= 1 && hertz <= 1000) refreshRate = hertz;
}

bool CADisplayLink::isValid() const {
    return action_ != nullptr;
}

double CADisplayLink::nextFireTime() const {
    return paused_ ? std::numeric_limits<double>::infinity() : nextFireTime_;
}

void CADisplayLink::fire() {
    nextFireTime_ = nextRefresh();
    const auto action = action_;
    if (action != nullptr) (*action)();
}

}  // namespace ondrix
