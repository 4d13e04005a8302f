#include "Workers.h"

#include <chrono>

#include <sched.h>

namespace ondrix::benchmarks {

namespace {

constexpr std::chrono::microseconds stayAwake{200};

/// Keeps a sleeping thread off the processor of the caller, who will be busy with a share of its own.
void moveAway(std::thread& thread) {
    cpu_set_t processors;
    if (sched_getaffinity(0, sizeof processors, &processors) != 0 || CPU_COUNT(&processors) < 2) return;
    CPU_CLR(sched_getcpu(), &processors);
    pthread_setaffinity_np(thread.native_handle(), sizeof processors, &processors);
}

}  // namespace

Workers::Workers(int threads) {
    for (int i = 1; i < threads; ++i) threads_.emplace_back([this, i] { work(i); });
}

Workers::~Workers() {
    stop_ = true;
    ++round_;
    wakeSleepers();
    for (std::thread& thread : threads_) thread.join();
}

void Workers::runShare(int thread) {
    const auto boundary = [this](int i) { return i == threads() ? rows_ : rows_ * i / threads() / 2 * 2; };
    const Share share{thread, boundary(thread), boundary(thread + 1)};
    if (share.firstRow < share.endRow) (*part_)(share);
}

void Workers::forRows(int rows, const Part& part) {
    part_ = &part;
    rows_ = rows;
    unfinished_ = static_cast<int>(threads_.size());
    ++round_;
    if (sleeping_ > 0) wakeSleepers();
    runShare(0);
    for (int spins = 0; unfinished_.load(std::memory_order_acquire) > 0; ++spins) {
        if (spins > 10000) std::this_thread::yield();
    }
}

void Workers::wakeSleepers() {
    for (std::thread& thread : threads_) moveAway(thread);
    const std::lock_guard lock(mutex_);
    wake_.notify_all();
}

void Workers::work(int thread) {
    for (std::uint64_t seen = 0;;) {
        const auto deadline = std::chrono::steady_clock::now() + stayAwake;
        while (round_ == seen && std::chrono::steady_clock::now() < deadline) {
        }
        if (round_ == seen) {
            std::unique_lock lock(mutex_);
            ++sleeping_;
            wake_.wait(lock, [&] { return round_ != seen; });
            --sleeping_;
        }
        ++seen;
        if (stop_) return;
        runShare(thread);
        unfinished_.fetch_sub(1, std::memory_order_release);
    }
}

}  // namespace ondrix::benchmarks
