#include <algorithm>
#include <cassert>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

#include <ondrix/platform/foundation/NSRunLoop.h>
#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>

namespace ondrix {

namespace {

constexpr double forever = std::numeric_limits<double>::infinity();
/// Sleep in one piece; keeps the wait within what its clock can count.
constexpr double longestSleep = 60;  // seconds

using Sources = std::vector<std::shared_ptr<NSRunLoopSource>>;

}  // namespace

struct NSRunLoop::State {
    Sources sources;  ///< for the loop's own thread

    std::mutex mutex;  ///< guards everything below; not held while foreign code runs
    std::condition_variable woken;
    std::deque<std::function<void()>> blocks;
    bool isStopping = false;

    void runUntil(double deadline);
    /// One turn of the loop. Ends early when it is to stop, if `stops`.
    void runPass(bool stops);
    void runBlocks(bool stops);
    void fireSources(bool stops);
    /// Until the next source is due, a block comes, the loop is to stop, or the deadline.
    void sleep(double deadline);
    [[nodiscard]] bool isToStop();
    [[nodiscard]] bool takeStop();
};

bool NSRunLoop::State::isToStop() {
    const std::lock_guard lock(mutex);
    return isStopping;
}

bool NSRunLoop::State::takeStop() {
    const std::lock_guard lock(mutex);
    return std::exchange(isStopping, false);
}

void NSRunLoop::State::runUntil(double deadline) {
    while (!takeStop()) {
        runPass(true);
        if (takeStop() || CACurrentMediaTime() >= deadline) return;
        sleep(deadline);
    }
}

void NSRunLoop::State::runPass(bool stops) {
    runBlocks(stops);
    fireSources(stops);
}

void NSRunLoop::State::runBlocks(bool stops) {
    std::size_t count = 0;
    {
        const std::lock_guard lock(mutex);
        count = blocks.size();
    }
    for (; count > 0 && !(stops && isToStop()); --count) {
        std::function<void()> block;
        {
            const std::lock_guard lock(mutex);
            if (blocks.empty()) return;  // a block ran the loop itself
            block = std::move(blocks.front());
            blocks.pop_front();
        }
        block();
    }
}

void NSRunLoop::State::fireSources(bool stops) {
    // Those that are dropped live until the pass is over: their end may change the list.
    const Sources present = sources;
    std::erase_if(sources, [](const auto& source) { return !source->isValid(); });
    const double now = CACurrentMediaTime();
    for (const auto& source : present) {
        if (stops && isToStop()) return;
        if (source->isValid() && source->nextFireTime() <= now) source->fire();
    }
}

void NSRunLoop::State::sleep(double deadline) {
    double wakeTime = deadline;
    for (const auto& source : sources) {
        if (source->isValid()) wakeTime = std::min(wakeTime, source->nextFireTime());
    }
    const double seconds = std::min(wakeTime - CACurrentMediaTime(), longestSleep);
    if (seconds <= 0) return;
    std::unique_lock lock(mutex);
    woken.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return !blocks.empty() || isStopping; });
}

NSRunLoop::NSRunLoop() : state_(new State) {}

NSRunLoop& NSRunLoop::main() {
    static NSRunLoop& loop = *new NSRunLoop;
    return loop;
}

void NSRunLoop::add(std::shared_ptr<NSRunLoopSource> source) {
    assert(source != nullptr);
    state_->sources.push_back(std::move(source));
}

void NSRunLoop::perform(std::function<void()> block) {
    assert(block);
    const std::lock_guard lock(state_->mutex);
    state_->blocks.push_back(std::move(block));
    state_->woken.notify_one();
}

void NSRunLoop::run() {
    state_->runUntil(forever);
}

void NSRunLoop::run(double seconds) {
    state_->runUntil(CACurrentMediaTime() + seconds);
}

void NSRunLoop::runUntilIdle() {
    state_->runPass(false);
}

void NSRunLoop::stop() {
    const std::lock_guard lock(state_->mutex);
    state_->isStopping = true;
    state_->woken.notify_one();
}

}  // namespace ondrix
