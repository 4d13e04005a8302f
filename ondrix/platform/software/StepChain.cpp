#include <algorithm>
#include <new>
#include <thread>

#include <ondrix/platform/software/StepChain.h>
#include <ondrix/platform/software/Threads.h>

namespace ondrix::software {

StepChain::StepChain(Command& begin, ExecutionContext& context) : context_(context) {
    steps_[0].begin(begin, context);
    count_ = 1;
    if (!context.fuses || last()->next == nullptr) return;
    context.primitives.clear();
    context.groups.clear();
    try {
        while (count_ < mostSteps && last()->next != nullptr && append(*last()->next)) ++count_;
    } catch (const std::bad_alloc&) {
        // What there is no memory for in a chain fails when it runs alone.
    }
}

bool StepChain::append(Command& command) {
    Step& first = steps_[0];
    Step& step = steps_[count_];
    step.begin(command, context_);
    if (first.hasReport() || step.hasReport()) return false;
    for (std::size_t index = 0; index < count_; ++index) {
        if (!step.addNeeds(steps_[index], static_cast<int>(index))) return false;
    }
    // A step that reads nothing of the others would gain nothing.
    const auto needs = step.needs();
    if (std::none_of(needs.begin(), needs.end(), [](const Step::Need& need) { return need.read; })) return false;
    const int threads = context_.pool.threadCount();
    if (count_ == 1 && !(first.prepare() && first.arrange({}, threads))) return false;
    return step.prepare() && step.arrange(std::span(steps_).first(count_), threads);
}

bool StepChain::run() {
    if (count_ == 1) return steps_[0].runAlone();
    if (!prepareProgress()) {
        return std::all_of(steps_.begin(), steps_.begin() + static_cast<std::ptrdiff_t>(count_),
                           [](Step& step) { return step.runAlone(); });
    }
    int strips = 0;
    std::int64_t bytes = 0;
    for (std::size_t index = 0; index < count_; ++index) {
        strips += steps_[index].stripCount();
        bytes += steps_[index].bytes();
        for (const Step::Need& need : steps_[index].needs()) {
            if (need.read) steps_[static_cast<std::size_t>(need.step)].keepInCaches();
        }
    }
    context_.pool.run(strips, runStrip, this, bytes);
    return true;
}

bool StepChain::prepareProgress() {
    std::size_t strips = 0;
    for (std::size_t index = 0; index < count_; ++index) strips += static_cast<std::size_t>(steps_[index].stripCount());
    try {
        context_.doneStrips.assign(strips, 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    std::uint8_t* place = context_.doneStrips.data();
    for (std::size_t index = 0; index < count_; ++index) {
        progress_[index].doneStrips = place;
        place += steps_[index].stripCount();
    }
    return true;
}

bool StepChain::canBegin(const Strip& strip) const noexcept {
    const Step& step = steps_[strip.step];
    const RowRange rows = step.stripRows(strip.number);
    const auto needs = step.needs();
    return std::all_of(needs.begin(), needs.end(), [&](const Step::Need& need) {
        const auto earlier = static_cast<std::size_t>(need.step);
        return steps_[earlier].isDone(step.neededRows(need, rows), progress_[earlier].done);
    });
}

bool StepChain::take(Strip& strip) noexcept {
    const std::scoped_lock lock(mutex_);
    for (std::size_t index = count_; index-- > 0;) {
        strip = {index, progress_[index].taken};
        if (strip.number == steps_[index].stripCount() || !canBegin(strip)) continue;
        ++progress_[index].taken;
        return true;
    }
    return false;
}

void StepChain::finish(const Strip& strip) noexcept {
    {
        const std::scoped_lock lock(mutex_);
        Progress& progress = progress_[strip.step];
        progress.doneStrips[strip.number] = 1;
        while (progress.done < steps_[strip.step].stripCount() && progress.doneStrips[progress.done] != 0) {
            ++progress.done;
        }
    }
    finished_.fetch_add(1, std::memory_order_release);
}

/// Called once for each strip of the chain, whichever it is. Where none can begin, another thread is at work on one
/// that it depends on: the first strip that isn't taken, of the earliest step that has such, needs only what is taken.
void StepChain::runStrip(void* chain, int, void* scratch) {
    auto& self = *static_cast<StepChain*>(chain);
    Strip strip{};
    for (int turns = 0;; ++turns) {
        const unsigned seen = self.finished_.load(std::memory_order_acquire);
        if (self.take(strip)) break;
        while (self.finished_.load(std::memory_order_acquire) == seen) {
            if (++turns < 2000) {
                pause();
            } else {
                std::this_thread::yield();
            }
        }
    }
    const Step& step = self.steps_[strip.step];
    step.work(step.stripRows(strip.number), scratch);
    self.finish(strip);
}

}  // namespace ondrix::software
