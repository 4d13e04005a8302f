#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <ondrix/platform/software/AlignedMemory.h>

namespace ondrix::software {

/// Shares the strips of one piece of work among worker threads and the calling thread. Each begins with a part of its
/// own, always the same one, whose pixels are likely to be in its caches from the work before; whoever is done takes
/// over strips of others. So strips must not depend on each other. Threads start with the first work that is worth it;
/// after work they look out for more for a short while, then sleep. One caller at a time; destroyed by any thread but
/// its own workers.
class WorkerPool {
public:
    using Work = void (*)(void* context, int strip, void* scratch);

    /// `threadCount` threads, 1 to 256, one of them the caller.
    explicit WorkerPool(int threadCount);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    [[nodiscard]] int threadCount() const noexcept { return threadCount_; }

    /// Gives every thread at least `bytes` of scratch, 64-byte aligned and zero when it is new; false without memory.
    [[nodiscard]] bool reserveScratch(std::size_t bytes) noexcept;

    /// Calls `work` once for each strip from 0 to `stripCount` - 1 and returns when all calls have returned. `work`
    /// must not throw. `bytes` is what the work reads and writes in all.
    void run(int stripCount, Work work, void* context, std::int64_t bytes) noexcept;

private:
    struct Worker;

    void start() noexcept;
    void workerLoop(Worker& worker) noexcept;
    /// Takes a strip for the thread `index`, of which the caller is 0; -1 when none are left.
    int takeStrip(std::size_t index) noexcept;
    void takeStrips(std::size_t index) noexcept;
    /// Returns how many strips nobody has taken yet.
    [[nodiscard]] int stripsLeft() const noexcept;
    void wakeWorkers(int count) noexcept;

    const int threadCount_;
    bool started_ = false;
    std::vector<AlignedMemory> scratch_;  ///< of the caller, then of the workers
    std::vector<std::unique_ptr<Worker>> workers_;

    // The work of the moment. The plain members are written while no worker is inside.
    Work work_ = nullptr;
    void* context_ = nullptr;
    struct alignas(64) Part {
        std::atomic<int> next{0};  ///< first strip that isn't taken; may lie beyond the end
        int end = 0;
    };
    std::vector<Part> parts_;              ///< one for each thread
    std::atomic<std::uint64_t> epoch_{0};  ///< odd while there is work to join
    std::atomic<int> inside_{0};           ///< workers that may touch the work
    std::atomic<bool> stopping_{false};
};

}  // namespace ondrix::software
