#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/CompletionThread.h>
#include <ondrix/platform/software/ExecutionContext.h>
#include <ondrix/platform/software/Executor.h>
#include <ondrix/platform/software/Threads.h>

namespace ondrix::software {

namespace {

/// To wake a sleeping thread costs the caller about 10 microseconds, which is wasted when it waits at once and so runs
/// its command buffer itself. While callers do, the executor's thread looks for forgotten command buffers by itself
/// every so often, and sleeps for good when there has been no commit for a number of such rounds.
constexpr std::chrono::milliseconds roundTime{1};
constexpr int roundsBeforeSleep = 20;
/// How long a thread looks out for what it waits for before it sleeps.
constexpr std::chrono::microseconds spinTime{20};

}  // namespace

struct Executor::State {
    State(int threadCount, RecyclingMemory sharedMemory)
        : context(threadCount), memory(std::move(sharedMemory)), pending(memory.get()) {}

    ExecutionContext context;  // used by the thread that executes
    CompletionThread completion;
    std::thread thread;

    std::mutex mutex;
    std::condition_variable wakeUp;       // for the executor's thread
    std::condition_variable oneFinished;  // for waiting threads
    const RecyclingMemory memory;
    std::pmr::deque<std::shared_ptr<CommandBuffer>> pending;
    bool executing = false;    // some thread runs the command buffer that was in front
    bool callersWait = false;  // the last commits were waited for
    bool requested = false;    // the thread shall run what is pending
    bool looking = false;      // the thread comes back within `roundTime`
    bool sleeping = false;     // the thread must be woken to see a request
    bool stopping = false;
    bool threadFailed = false;  // can't be started: whoever commits executes
    int sleepingWaiters = 0;
    unsigned commits = 0;
    std::atomic<bool> calling{false};  // requested or stopping, for spinning only

    using Lock = std::unique_lock<std::mutex>;

    void executeFront(Lock& lock);
    void request();
    void run();
    bool waitForRequest(Lock& lock);
};

/// Takes the front command buffer, runs it without the lock, and reports it. Nobody else executes, something is
/// pending.
void Executor::State::executeFront(Lock& lock) {
    auto commandBuffer = std::move(pending.front());
    pending.pop_front();
    executing = true;
    lock.unlock();
    commandBuffer->execute(context);
    const bool hasHandlers = commandBuffer->hasHandlers();
    lock.lock();
    executing = false;
    commandBuffer->finished();
    const bool wakeWaiters = sleepingWaiters > 0;
    if (wakeWaiters) oneFinished.notify_all();
    if (!hasHandlers) {
        // The last reference takes the executor with it, which must not happen under its lock.
        lock.unlock();
        commandBuffer.reset();
        lock.lock();
    } else if (completion.start()) {
        // While callers wait, `waitForRequest` looks after the handlers in its next round.
        completion.post(std::move(commandBuffer), !(looking && callersWait));
    } else {
        lock.unlock();
        commandBuffer->callHandlers();
        commandBuffer.reset();
        lock.lock();
    }
}

/// Makes the executor's thread run what is pending. Called with the lock held.
void Executor::State::request() {
    if (looking && callersWait) return;
    requested = true;
    calling.store(true, std::memory_order_relaxed);
    if (!sleeping) return;
    moveOffCallersCore(thread.native_handle());
    wakeUp.notify_one();
}

void Executor::State::run() {
    Lock lock(mutex);
    while (!stopping) {
        if (requested && !executing && !pending.empty()) {
            executeFront(lock);
        } else {
            if (pending.empty()) requested = false;
            if (waitForRequest(lock)) requested = true;
        }
    }
}

/// Returns when there may be something to do; true when a command buffer was found that nobody waits for.
bool Executor::State::waitForRequest(Lock& lock) {
    const auto called = [this] { return stopping || (requested && !executing && !pending.empty()); };
    calling.store(stopping, std::memory_order_relaxed);
    if (!callersWait) {
        lock.unlock();
        spinUntil(spinTime, [this] { return calling.load(std::memory_order_relaxed); });
        lock.lock();
    }
    looking = sleeping = true;
    unsigned commitsSeen = commits;
    for (int quietRounds = 0; quietRounds < roundsBeforeSleep && !called(); ++quietRounds) {
        const bool isCalled = wakeUp.wait_for(lock, roundTime, called);
        completion.callGathered();
        if (isCalled) break;
        if (!pending.empty() && !executing) {
            looking = sleeping = callersWait = false;
            return true;
        }
        if (commits != commitsSeen) quietRounds = 0;
        commitsSeen = commits;
    }
    looking = false;
    wakeUp.wait(lock, called);
    sleeping = false;
    runOnAnyCore();
    return false;
}

Executor::Executor(int threadCount, bool validates)
    : memory_(makeRecyclingMemory()), state_(std::make_shared<State>(threadCount, memory_)), validates_(validates) {}

Executor::~Executor() {
    {
        const std::scoped_lock lock(state_->mutex);
        state_->stopping = true;
        state_->calling.store(true, std::memory_order_relaxed);
    }
    state_->wakeUp.notify_one();
    joinOrLetGo(state_->thread);
}

void Executor::commit(std::shared_ptr<CommandBuffer> commandBuffer) {
    State& state = *state_;
    State::Lock lock(state.mutex);
    if (!state.thread.joinable() && !state.threadFailed) {
        try {
            state.thread = std::thread([shared = state_] { shared->run(); });
        } catch (const std::exception&) {
            state.threadFailed = true;
        }
    }
    CommandBuffer& committed = *commandBuffer;
    state.pending.push_back(std::move(commandBuffer));
    committed.committed();
    ++state.commits;
    if (state.threadFailed) {
        lock.unlock();
        waitUntilCompleted(committed);
    } else if (!state.executing) {
        state.request();
    }
}

void Executor::waitUntilCompleted(CommandBuffer& commandBuffer) {
    if (commandBuffer.isFinished()) return;
    const std::shared_ptr<State> shared = state_;
    State& state = *shared;
    State::Lock lock(state.mutex);
    state.callersWait = true;
    while (!commandBuffer.isFinished()) {
        if (!state.executing) {
            state.executeFront(lock);
            continue;
        }
        lock.unlock();
        spinUntil(spinTime, [&] { return commandBuffer.isFinished(); });
        lock.lock();
        ++state.sleepingWaiters;
        state.oneFinished.wait(lock, [&] { return commandBuffer.isFinished() || !state.executing; });
        --state.sleepingWaiters;
    }
    const bool leftToNobody = !state.pending.empty() && !state.executing && state.sleepingWaiters == 0;
    if (leftToNobody && !state.threadFailed) state.request();
}

}  // namespace ondrix::software
