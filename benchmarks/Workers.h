#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace ondrix::benchmarks {

/// The threads that libraries without threads of their own are measured with: the caller and `threads - 1` more, which
/// stay awake between runs that follow each other closely, so that a run doesn't pay for waking them.
class Workers {
public:
    /// What one thread works on.
    struct Share {
        int thread;  ///< from 0, the caller
        int firstRow;
        int endRow;
    };
    using Part = std::function<void(const Share&)>;

    /// `threads` is at least 1.
    explicit Workers(int threads);
    ~Workers();

    [[nodiscard]] int threads() const { return static_cast<int>(threads_.size()) + 1; }

    /// Calls `part` on each thread with its share of `rows` rows, and returns when all are done. Shares begin at even
    /// rows.
    void forRows(int rows, const Part& part);

private:
    void work(int thread);
    void runShare(int thread);
    void wakeSleepers();

    const Part* part_ = nullptr;
    int rows_ = 0;
    std::atomic<std::uint64_t> round_{0};
    std::atomic<int> unfinished_{0};
    std::atomic<int> sleeping_{0};
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<std::thread> threads_;
};

}  // namespace ondrix::benchmarks
