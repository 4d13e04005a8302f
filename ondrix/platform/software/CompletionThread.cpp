#include <condition_variable>
#include <deque>
#include <memory_resource>
#include <mutex>
#include <system_error>

#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/CompletionThread.h>
#include <ondrix/platform/software/Threads.h>

namespace ondrix::software {

struct CompletionThread::State {
    std::thread thread;
    std::mutex mutex;
    std::condition_variable wakeUp;
    std::pmr::unsynchronized_pool_resource memory;  // guarded by mutex, as all that follows
    std::pmr::deque<std::shared_ptr<CommandBuffer>> queue{&memory};
    bool asleep = false;
    bool stopping = false;
    std::atomic<int> waiting{0};  ///< length of the queue, plus one when stopping: for spinning only

    void run() {
        std::unique_lock lock(mutex);
        for (;;) {
            if (queue.empty()) {
                lock.unlock();
                spinUntil([this] { return waiting.load(std::memory_order_relaxed) != 0; });
                lock.lock();
                asleep = true;
                wakeUp.wait(lock, [this] { return !queue.empty() || stopping; });
                asleep = false;
                lock.unlock();
                runOnAnyCore();
                lock.lock();
            }
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
        const std::scoped_lock lock(state_->mutex);
        state_->stopping = true;
        state_->waiting.fetch_add(1, std::memory_order_relaxed);
    }
    state_->wakeUp.notify_one();
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

void CompletionThread::post(std::shared_ptr<CommandBuffer> commandBuffer) {
    bool wake = false;
    {
        const std::scoped_lock lock(state_->mutex);
        state_->queue.push_back(std::move(commandBuffer));
        state_->waiting.fetch_add(1, std::memory_order_relaxed);
        wake = state_->asleep;
        if (wake) moveOffCallersCore(state_->thread.native_handle());
    }
    if (wake) state_->wakeUp.notify_one();
}

}  // namespace ondrix::software
