#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/CommandBufferQueue.h>
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

/// What the executor's thread does.
///
///     notStarted --first commit--> awake <-----------------------------+
///         |                        |   ^                               |
///   cannot be started  nothing to do   | an order, or a command        | an order
///         |                        |   | buffer that nobody runs       |
///         v                        v   |                               |
///    unavailable                  looking --20 rounds, no commit--> asleep
///
/// While it is awake, it runs command buffers or spins for the next order. While it is looking, it sleeps, but gets up
/// for a moment every `roundTime`; an order that can't wait so long must wake it, as in its sleep.
enum class ThreadState { notStarted, unavailable, awake, looking, asleep };

/// What the executor's thread is told: to `run` what is pending, until nothing is, or to `stop` for good.
enum class Order { none, run, stop };

/// Who runs the command buffer that was in front. A waiting caller goes on until its own one is finished.
enum class Runner { nobody, executorsThread, waitingCaller };

}  // namespace

/// Whenever command buffers are pending, either somebody runs one, who then looks after the rest, or a waiting caller
/// has been woken to, or the executor's thread has the order or finds them in its next round.
struct Executor::State {
    State(int threadCount, bool fuses) : context(threadCount, fuses) {}

    ExecutionContext context;  // for whoever runs a command buffer
    CompletionThread completion;
    std::thread thread;

    std::mutex mutex;                                        // guards all that follows
    std::condition_variable orderGiven;                      // for the executor's thread
    std::condition_variable oneFinished;                     // for waiting callers
    CommandBufferQueue<&CommandBuffer::nextQueued> pending;  // in the order of their commits
    Runner runner = Runner::nobody;
    ThreadState threadState = ThreadState::notStarted;
    std::atomic<Order> order{Order::none};  // read without the lock for spinning only
    bool callersWait = false;               // those who committed last waited, so the next ones are expected to
    int sleepingCallers = 0;                // that wait for `oneFinished`
    int quietRounds = 0;                    // of the executor's thread since the last commit

    using Lock = std::unique_lock<std::mutex>;

    void startThread(const std::shared_ptr<State>& self);
    [[nodiscard]] bool hasThread() const {
        return threadState != ThreadState::notStarted && threadState != ThreadState::unavailable;
    }
    /// The executor's thread sees by itself, within `roundTime`, what it needn't see earlier.
    [[nodiscard]] bool threadComesBy() const { return threadState == ThreadState::looking && callersWait; }
    void orderRun();
    void executeFront(Lock& lock, Runner by);
    void runUntilFinished(const CommandBuffer& commandBuffer);
    void runThread();
    void waitForOrder(Lock& lock);
};

void Executor::State::startThread(const std::shared_ptr<State>& self) {
    try {
        thread = std::thread([self] { self->runThread(); });
        threadState = ThreadState::awake;
    } catch (const std::bad_alloc&) {
        // The next commit tries again.
    } catch (const std::exception&) {
        threadState = ThreadState::unavailable;
    }
}

/// Has the executor's thread run what is pending. Called with the lock held.
void Executor::State::orderRun() {
    if (threadComesBy()) return;
    order.store(Order::run, std::memory_order_relaxed);
    if (threadState == ThreadState::awake) return;
    moveOffCallersCore(thread.native_handle());
    orderGiven.notify_one();
}

/// Takes the front command buffer, runs it without the lock, and reports it. Nobody else runs one, something is
/// pending.
void Executor::State::executeFront(Lock& lock, Runner by) {
    auto commandBuffer = pending.pop();
    runner = by;
    lock.unlock();
    commandBuffer->execute(context);
    const bool needsCompletion = commandBuffer->needsCompletion();
    lock.lock();
    runner = Runner::nobody;
    commandBuffer->finished();
    if (sleepingCallers > 0) oneFinished.notify_all();
    if (!needsCompletion) {
        // The last reference takes the executor with it, which must not happen under its lock.
        lock.unlock();
        commandBuffer.reset();
        lock.lock();
        return;
    }
    const bool completes = completion.start();
    completion.post(std::move(commandBuffer), !threadComesBy());
    if (completes) return;
    lock.unlock();
    completion.callPosted();
    lock.lock();
}

/// Runs command buffers in a waiting caller's thread until this one is finished, or waits for who does.
void Executor::State::runUntilFinished(const CommandBuffer& commandBuffer) {
    Lock lock(mutex);
    callersWait = true;
    while (!commandBuffer.isFinished()) {
        if (runner == Runner::nobody) {
            executeFront(lock, Runner::waitingCaller);
            continue;
        }
        lock.unlock();
        spinUntil(spinTime, [&] { return commandBuffer.isFinished(); });
        lock.lock();
        ++sleepingCallers;
        oneFinished.wait(lock, [&] { return commandBuffer.isFinished() || runner == Runner::nobody; });
        --sleepingCallers;
    }
    const bool leftToNobody = !pending.empty() && runner == Runner::nobody && sleepingCallers == 0;
    if (leftToNobody && hasThread()) orderRun();
}

void Executor::State::runThread() {
    Lock lock(mutex);
    while (order != Order::stop) {
        if (order == Order::run && runner == Runner::nobody && !pending.empty()) {
            executeFront(lock, Runner::executorsThread);
        } else {
            order = Order::none;  // a waiting caller that leaves something gives a new one
            waitForOrder(lock);
        }
    }
}

void Executor::State::waitForOrder(Lock& lock) {
    const auto ordered = [this] { return order.load(std::memory_order_relaxed) != Order::none; };
    if (!callersWait) {
        lock.unlock();
        spinUntil(spinTime, ordered);
        lock.lock();
        if (ordered()) return;
    }
    threadState = ThreadState::looking;
    for (quietRounds = 0; quietRounds < roundsBeforeSleep && !ordered(); ++quietRounds) {
        orderGiven.wait_for(lock, roundTime, ordered);
        completion.callGathered();
        if (!ordered() && !pending.empty() && runner == Runner::nobody) {
            callersWait = false;
            order = Order::run;
        }
    }
    if (!ordered()) threadState = ThreadState::asleep;
    orderGiven.wait(lock, ordered);
    threadState = ThreadState::awake;
    runOnAnyCore();
}

Executor::Executor(int threadCount, bool validates, bool fuses)
    : memory_(std::make_shared<RecyclingMemory>()),
      state_(std::make_shared<State>(threadCount, fuses)),
      validates_(validates) {}

Executor::~Executor() {
    {
        const std::scoped_lock lock(state_->mutex);
        state_->order = Order::stop;
    }
    state_->orderGiven.notify_one();
    joinOrLetGo(state_->thread);
}

void Executor::commit(std::shared_ptr<CommandBuffer> commandBuffer) {
    State& state = *state_;
    State::Lock lock(state.mutex);
    if (state.threadState == ThreadState::notStarted) state.startThread(state_);
    CommandBuffer& committed = *commandBuffer;
    state.pending.push(std::move(commandBuffer));
    committed.committed();
    state.quietRounds = 0;
    if (!state.hasThread()) {
        lock.unlock();
        waitUntilCompleted(committed);
    } else if (state.runner == Runner::nobody) {
        state.orderRun();
    }
}

void Executor::waitUntilCompleted(CommandBuffer& commandBuffer) {
    if (!commandBuffer.isFinished() || commandBuffer.presentation() != CommandBuffer::Presentation::done) {
        const std::shared_ptr<State> state = state_;
        state->runUntilFinished(commandBuffer);  // has been posted then, too
        state->completion.present(commandBuffer);
    }
}

}  // namespace ondrix::software
