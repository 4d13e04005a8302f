#include <algorithm>
#include <cassert>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

#include <ondrix/platform/foundation/NSRunLoop.h>
#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>

namespace ondrix {

namespace {

constexpr double forever = std::numeric_limits<double>::infinity();
/// Sleep in one piece; keeps the wait within what its clock can count.
constexpr double longestSleep = 60;  // seconds

using Sources = std::vector<std::shared_ptr<NSRunLoopSource>>;

/// Counts a pass while it lives.
class Pass {
public:
    explicit Pass(int& count) : count_(count) { ++count_; }
    ~Pass() { --count_; }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

private:
    int& count_;
};

}  // namespace

struct NSRunLoop::State {
    Sources sources;  ///< for the loop's own thread
    int passes = 0;   ///< over the sources that are running, one inside the other

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
    // One after the other, since the end of each may change the list.
    const auto isInvalid = [](const auto& source) { return !source->isValid(); };
    while (passes == 0) {
        const auto found = std::find_if(sources.begin(), sources.end(), isInvalid);
        if (found == sources.end()) break;
        const auto dropped = std::move(*found);
        sources.erase(found);
    }
    // Sources keep their places meanwhile; those that are added follow.
    const Pass pass(passes);
    const double now = CACurrentMediaTime();
    const std::size_t count = sources.size();
    for (std::size_t index = 0; index < count; ++index) {
        if (stops && isToStop()) return;
        const auto source = sources[index];
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

NSRunLoop::NSRunLoop() : state_(nullptr) {
    alignas(State) static std::byte memory[sizeof(State)];
    state_ = new (memory) State;
}

NSRunLoop& NSRunLoop::main() {
    alignas(NSRunLoop) static std::byte memory[sizeof(NSRunLoop)];
    static NSRunLoop& loop = *new (memory) NSRunLoop;
    return loop;
}

void NSRunLoop::add(std::shared_ptr<NSRunLoopSource> source) {
    assert(source != nullptr);
    os::orAbsent([&] { state_->sources.push_back(std::move(source)); });
}

void NSRunLoop::perform(std::function<void()> block) {
    assert(block);
    os::orAbsent([&] {
        const std::lock_guard lock(state_->mutex);
        state_->blocks.push_back(std::move(block));
        state_->woken.notify_one();
    });
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
