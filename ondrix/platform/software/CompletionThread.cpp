#include <condition_variable>
#include <mutex>
#include <system_error>
#include <utility>

#include <ondrix/platform/software/CommandBufferQueue.h>
#include <ondrix/platform/software/CompletionThread.h>
#include <ondrix/platform/software/Threads.h>

namespace ondrix::software {

namespace {

/// Long enough for command buffers without work, short enough not to keep a worker from its core.
constexpr std::chrono::microseconds spinTime{5};
constexpr int mostGathered = 16;

using Lock = std::unique_lock<std::mutex>;
using Presentation = CommandBuffer::Presentation;

}  // namespace

struct CompletionThread::State {
    std::thread thread;
    std::mutex mutex;  // guards all that follows
    std::condition_variable wakeUp;
    std::condition_variable onePresented;
    CommandBufferQueue<&CommandBuffer::nextQueued> queue;           // whose handlers are to be called
    CommandBufferQueue<&CommandBuffer::nextToPresent> unpresented;  // whose drawables nobody has begun to present
    std::thread::id presenter;                                      // the thread that presents drawables
    bool asleep = false;                                            // the thread
    bool stopping = false;                                          // the thread is to end when the queue is empty
    std::atomic<int> waiting{0};                                    // length of the queue, for spinning only

    void wake(Lock& lock);
    void lookOut(Lock& lock);
    void present(Lock& lock, CommandBuffer& commandBuffer);
    void presentNext(Lock& lock);
    void callPosted(Lock& lock);
    void run();
};

/// Called with the lock held, and lets go of it first: the thread would wake up only to wait for it.
void CompletionThread::State::wake(Lock& lock) {
    if (!asleep) return;
    asleep = false;
    moveOffCallersCore(thread.native_handle());
    lock.unlock();
    wakeUp.notify_one();
}

/// Returns, with the lock held as before, when there is a command buffer or the thread is to stop.
void CompletionThread::State::lookOut(Lock& lock) {
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

/// One thread at a time presents, so that drawables are shown in the order of the commits. A drawable may itself wait
/// for another command buffer: then its thread goes on with those that follow.
void CompletionThread::State::present(Lock& lock, CommandBuffer& commandBuffer) {
    while (commandBuffer.presentation() != Presentation::done) {
        const bool presentsHere = presenter == std::this_thread::get_id();
        if (presenter != std::thread::id() && !presentsHere) {
            onePresented.wait(lock);
        } else if (commandBuffer.presentation() == Presentation::begun) {
            return;  // further down on this thread's stack
        } else {
            presentNext(lock);
        }
    }
}

/// Presents the first command buffer that is due, without the lock.
void CompletionThread::State::presentNext(Lock& lock) {
    auto commandBuffer = unpresented.pop();
    commandBuffer->setPresentation(Presentation::begun);
    const auto presenterBefore = std::exchange(presenter, std::this_thread::get_id());
    lock.unlock();
    commandBuffer->presentDrawables();
    lock.lock();
    presenter = presenterBefore;
    commandBuffer->setPresentation(Presentation::done);
    onePresented.notify_all();
    lock.unlock();
    commandBuffer.reset();
    lock.lock();
}

void CompletionThread::State::callPosted(Lock& lock) {
    while (!queue.empty()) {
        auto commandBuffer = queue.pop();
        waiting.fetch_sub(1, std::memory_order_relaxed);
        present(lock, *commandBuffer);
        lock.unlock();
        commandBuffer->callHandlers();
        commandBuffer.reset();  // may drop the last reference to the device, which stops the thread
        lock.lock();
    }
}

void CompletionThread::State::run() {
    Lock lock(mutex);
    while (!stopping) {
        if (queue.empty()) lookOut(lock);
        callPosted(lock);
    }
}

CompletionThread::CompletionThread() : state_(std::make_shared<State>()) {}

CompletionThread::~CompletionThread() {
    {
        Lock lock(state_->mutex);
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
    Lock lock(state.mutex);
    if (commandBuffer->presentation() == Presentation::due) state.unpresented.push(commandBuffer);
    state.queue.push(std::move(commandBuffer));
    const int gathered = state.waiting.fetch_add(1, std::memory_order_relaxed) + 1;
    if (atOnce || gathered >= mostGathered) state.wake(lock);
}

void CompletionThread::callGathered() {
    Lock lock(state_->mutex);
    if (!state_->queue.empty()) state_->wake(lock);
}

void CompletionThread::callPosted() {
    const std::shared_ptr<State> state = state_;
    Lock lock(state->mutex);
    state->callPosted(lock);
}

void CompletionThread::present(CommandBuffer& commandBuffer) {
    if (commandBuffer.presentation() == Presentation::done) return;
    const std::shared_ptr<State> state = state_;
    Lock lock(state->mutex);
    state->present(lock, commandBuffer);
}

}  // namespace ondrix::software
