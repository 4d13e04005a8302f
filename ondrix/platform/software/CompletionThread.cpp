#include <condition_variable>
#include <deque>
#include <memory_resource>
#include <mutex>
#include <system_error>

#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/CompletionThread.h>
#include <ondrix/platform/software/Threads.h>

namespace ondrix::software {

namespace {

/// Long enough for command buffers without work, short enough not to keep a worker from its core.
constexpr std::chrono::microseconds spinTime{5};
constexpr std::size_t mostGathered = 16;

}  // namespace

struct CompletionThread::State {
    std::thread thread;
    std::mutex mutex;
    std::condition_variable wakeUp;
    std::pmr::unsynchronized_pool_resource memory;  // guarded by mutex, as all that follows
    std::pmr::deque<std::shared_ptr<CommandBuffer>> queue{&memory};
    bool asleep = false;
    bool stopping = false;
    std::atomic<int> waiting{0};  ///< length of the queue, for spinning only

    /// Called with the lock held, and lets go of it first: the thread would wake up only to wait for it.
    void wake(std::unique_lock<std::mutex>& lock) {
        if (!asleep) return;
        asleep = false;
        moveOffCallersCore(thread.native_handle());
        lock.unlock();
        wakeUp.notify_one();
    }

    /// Called with the lock held; returns when there is a command buffer or the thread is to stop.
    void lookOut(std::unique_lock<std::mutex>& lock) {
        lock.unlock();
        spinUntil(spinTime, [this] { return waiting.load(std::memory_order_relaxed) != 0; });
        lock.lock();
        if (!queue.empty() || stopping) return;
        asleep = true;
        wakeUp.wait(lock, [this] { return !asleep; });
        lock.unlock();
        runOnAnyCore();
        lock.lock();
    }

    void run() {
        std::unique_lock lock(mutex);
        for (;;) {
            if (queue.empty() && !stopping) lookOut(lock);
            if (queue.empty()) return;
            auto commandBuffer = std::move(queue.front());
            queue.pop_front();
            waiting.fetch_sub(1, std::memory_order_relaxed);
            lock.unlock();
            commandBuffer->callHandlers();
            commandBuffer.reset();  // may drop the last reference to the device, and so end this loop
            lock.lock();
        }
    }
};

CompletionThread::CompletionThread() : state_(std::make_shared<State>()) {}

CompletionThread::~CompletionThread() {
    {
        std::unique_lock lock(state_->mutex);
        state_->stopping = true;
        state_->wake(lock);
    }
    joinOrLetGo(state_->thread);
}

bool CompletionThread::start() noexcept {
    if (state_->thread.joinable()) return true;
    try {
        state_->thread = std::thread([state = state_] { state->run(); });
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void CompletionThread::post(std::shared_ptr<CommandBuffer> commandBuffer, bool atOnce) {
    State& state = *state_;
    std::unique_lock lock(state.mutex);
    state.queue.push_back(std::move(commandBuffer));
    state.waiting.fetch_add(1, std::memory_order_relaxed);
    if (atOnce || state.queue.size() >= mostGathered) state.wake(lock);
}

void CompletionThread::callGathered() {
    std::unique_lock lock(state_->mutex);
    if (!state_->queue.empty()) state_->wake(lock);
}

}  // namespace ondrix::software
