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
    std::int64_t bytes = 0;
    for (std::size_t index = 0; index < count_; ++index) {
        bytes += steps_[index].bytes();
        for (const Step::Need& need : steps_[index].needs()) {
            if (need.read) steps_[static_cast<std::size_t>(need.step)].keepInCaches();
        }
    }
    context_.pool.run(stripCount_, runStrip, this, bytes);
    return true;
}

bool StepChain::prepareProgress() {
    for (std::size_t index = 0; index < count_; ++index) stripCount_ += steps_[index].stripCount();
    try {
        context_.doneStrips.assign(static_cast<std::size_t>(stripCount_), 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    bandCount_ = std::min(static_cast<std::size_t>(context_.pool.threadCount()), mostBands);
    std::uint8_t* place = context_.doneStrips.data();
    for (std::size_t index = 0; index < count_; ++index) {
        progress_[index].doneStrips = place;
        place += steps_[index].stripCount();
        setBands(index);
    }
    return true;
}

void StepChain::setBands(std::size_t index) noexcept {
    Progress& progress = progress_[index];
    const int count = steps_[index].stripCount();
    int strip = 0;
    for (std::size_t band = 0; band < bandCount_; ++band) {
        while (band > 0 && strip < count && !startsBand(index, strip, band)) ++strip;
        progress.next[band] = strip;
        progress.end[band] = count;
        if (band > 0) progress.end[band - 1] = strip;
    }
}

/// Whether a strip may be the first one of a band: it reads nothing that belongs to an earlier band of another step.
bool StepChain::startsBand(std::size_t index, int strip, std::size_t band) const noexcept {
    bool reads = false, inside = true;
    for (const Step::Need& need : steps_[index].needs()) {
        const Step::StripRange needed = neededStrips(need, {index, strip});
        if (!need.read || needed.first >= needed.end) continue;
        reads = true;
        inside = inside && needed.first >= progress_[static_cast<std::size_t>(need.step)].next[band];
    }
    if (reads) return inside;
    const auto share = std::size_t(steps_[index].stripCount()) * band / bandCount_;
    return static_cast<std::size_t>(strip) >= share;
}

Step::StripRange StepChain::neededStrips(const Step::Need& need, const Strip& strip) const noexcept {
    const Step& step = steps_[strip.step];
    const RowRange rows = step.neededRows(need, step.stripRows(strip.number));
    return steps_[static_cast<std::size_t>(need.step)].stripsOf(rows);
}

bool StepChain::canBegin(const Strip& strip) const noexcept {
    const auto needs = steps_[strip.step].needs();
    return std::all_of(needs.begin(), needs.end(), [&](const Step::Need& need) {
        const Step::StripRange needed = neededStrips(need, strip);
        const std::uint8_t* const done = progress_[static_cast<std::size_t>(need.step)].doneStrips;
        return std::all_of(done + needed.first, done + needed.end, [](std::uint8_t isDone) { return isDone != 0; });
    });
}

bool StepChain::take(std::size_t band, Strip& strip) noexcept {
    const std::scoped_lock lock(mutex_);
    for (std::size_t turn = 0; turn < bandCount_; ++turn) {
        if (takeFrom((band + turn) % bandCount_, strip)) return true;
    }
    return false;
}

bool StepChain::takeFrom(std::size_t band, Strip& strip) noexcept {
    for (std::size_t index = count_; index-- > 0;) {
        Progress& progress = progress_[index];
        strip = {index, progress.next[band]};
        if (strip.number >= progress.end[band] || !canBegin(strip)) continue;
        ++progress.next[band];
        return true;
    }
    return false;
}

void StepChain::finish(const Strip& strip) noexcept {
    {
        const std::scoped_lock lock(mutex_);
        progress_[strip.step].doneStrips[strip.number] = 1;
    }
    finished_.fetch_add(1, std::memory_order_release);
}

/// Called once for each strip of the chain, whichever it is; the pool's thread tells by its number where it begins.
/// Where no strip can begin, another thread is at work on one that it depends on: of the earliest step that has strips
/// which aren't taken, the next ones need only what is taken.
void StepChain::runStrip(void* chain, int number, void* scratch) {
    auto& self = *static_cast<StepChain*>(chain);
    const auto band =
        static_cast<std::size_t>(std::int64_t{number} * static_cast<std::int64_t>(self.bandCount_) / self.stripCount_);
    Strip strip{};
    for (int turns = 0;;) {
        const unsigned seen = self.finished_.load(std::memory_order_acquire);
        if (self.take(band, strip)) break;
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
