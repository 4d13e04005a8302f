#include <algorithm>
#include <chrono>
#include <system_error>
#include <thread>

#include <ondrix/platform/software/Threads.h>
#include <ondrix/platform/software/WorkerPool.h>

namespace ondrix::software {

namespace {

/// Sleeping workers are woken for work that takes longer than this. To wake one costs the caller about a fifth of it.
constexpr std::chrono::microseconds worthWaking{50};
/// Work on more bytes than this always takes longer.
constexpr std::int64_t surelyWorthWaking = std::int64_t{4} << 20;
/// How long a worker looks out for more work before it sleeps. Between two frames that are waited for, the caller needs
/// 5 to 40 microseconds, the more the colder its caches are.
constexpr std::chrono::microseconds spinTime{100};

}  // namespace

struct WorkerPool::Worker {
    std::size_t index = 0;
    std::thread thread;
    alignas(64) std::atomic<int> asleep{0};
};

WorkerPool::WorkerPool(int threadCount)
    : threadCount_(threadCount),
      scratch_(static_cast<std::size_t>(threadCount)),
      parts_(static_cast<std::size_t>(threadCount)) {}

WorkerPool::~WorkerPool() {
    stopping_.store(true);
    for (const auto& worker : workers_) {
        worker->asleep.store(0);
        worker->asleep.notify_one();
    }
    for (const auto& worker : workers_) worker->thread.join();
}

bool WorkerPool::reserveScratch(std::size_t bytes) noexcept {
    for (AlignedMemory& scratch : scratch_) {
        if (scratch.size() >= bytes) continue;
        scratch = AlignedMemory::allocate(bytes);
        if (scratch.bytes() == nullptr) return false;
    }
    return true;
}

void WorkerPool::start() noexcept {
    started_ = true;
    try {
        workers_.reserve(static_cast<std::size_t>(threadCount_ - 1));
        while (static_cast<int>(workers_.size()) < threadCount_ - 1) {
            auto worker = std::make_unique<Worker>();
            worker->index = workers_.size() + 1;
            Worker& reference = *worker;
            worker->thread = std::thread([this, &reference] { workerLoop(reference); });
            moveOffCallersCore(worker->thread.native_handle());
            workers_.push_back(std::move(worker));
        }
    } catch (const std::exception&) {
        // Fewer threads do the same work.
    }
}

int WorkerPool::takeStrip(std::size_t index) noexcept {
    for (std::size_t turn = 0; turn < parts_.size(); ++turn) {
        Part& part = parts_[(index + turn) % parts_.size()];
        if (part.next.load(std::memory_order_relaxed) >= part.end) continue;
        const int strip = part.next.fetch_add(1, std::memory_order_relaxed);
        if (strip < part.end) return strip;
    }
    return -1;
}

void WorkerPool::takeStrips(std::size_t index) noexcept {
    void* scratch = scratch_[index].bytes();
    for (int strip = takeStrip(index); strip >= 0; strip = takeStrip(index)) work_(context_, strip, scratch);
}

int WorkerPool::stripsLeft() const noexcept {
    int left = 0;
    for (const Part& part : parts_) left += std::max(0, part.end - part.next.load(std::memory_order_relaxed));
    return left;
}

void WorkerPool::run(int stripCount, Work work, void* context, std::int64_t bytes) noexcept {
    void* scratch = scratch_.front().bytes();
    if (stripCount <= 1 || threadCount_ == 1) {
        for (int strip = 0; strip < stripCount; ++strip) work(context, strip, scratch);
        return;
    }
    work_ = work;
    context_ = context;
    for (int index = 0; index < threadCount_; ++index) {
        Part& part = parts_[static_cast<std::size_t>(index)];
        const auto boundary = [&](int i) { return static_cast<int>(std::int64_t{stripCount} * i / threadCount_); };
        part.next.store(boundary(index), std::memory_order_relaxed);
        part.end = boundary(index + 1);
    }
    epoch_.fetch_add(1);  // open: workers that look out join

    if (bytes > surelyWorthWaking) {
        wakeWorkers(std::min(stripCount - 1, threadCount_ - 1));
        takeStrips(0);
    }
    // The first strips tell whether the rest is worth waking the sleepers for.
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    for (int done = 1;; ++done) {
        const int strip = takeStrip(0);
        if (strip < 0) break;
        work(context, strip, scratch);
        const int left = stripsLeft();
        if (left > 0 && (Clock::now() - begin) / done * left > worthWaking) {
            wakeWorkers(std::min(left, threadCount_ - 1));
            takeStrips(0);
            break;
        }
    }

    epoch_.fetch_add(1);  // closed: whoever isn't inside yet stays out
    int turns = 0;
    while (inside_.load() != 0) {
        if (++turns < 2000) {
            pause();
        } else {
            std::this_thread::yield();
        }
    }
}

void WorkerPool::wakeWorkers(int count) noexcept {
    if (!started_) {
        start();
        return;
    }
    for (const auto& worker : workers_) {
        if (count-- == 0) return;
        if (worker->asleep.load() == 0) continue;
        moveOffCallersCore(worker->thread.native_handle());
        worker->asleep.store(0);
        worker->asleep.notify_one();
    }
}

void WorkerPool::workerLoop(Worker& worker) noexcept {
    std::uint64_t seen = 0;
    const auto workIsOpen = [&] {
        const std::uint64_t epoch = epoch_.load();
        return (epoch & 1) != 0 && epoch != seen;
    };
    while (!stopping_.load()) {
        if (!spinUntil(spinTime, [&] { return workIsOpen() || stopping_.load(std::memory_order_relaxed); })) {
            // Sleep is announced before the last look for work, and the caller opens work before it looks for sleepers,
            // so one of the two sees the other.
            worker.asleep.store(1);
            if (!workIsOpen() && !stopping_.load()) {
                worker.asleep.wait(1);
                runOnAnyCore();
            }
            worker.asleep.store(0);
            continue;
        }
        inside_.fetch_add(1);
        const std::uint64_t epoch = epoch_.load();
        if ((epoch & 1) != 0 && epoch != seen) {
            seen = epoch;
            takeStrips(worker.index);
        }
        inside_.fetch_sub(1);
    }
}

}  // namespace ondrix::software
