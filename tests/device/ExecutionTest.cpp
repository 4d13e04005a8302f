// When work runs, who sees its results, and who holds what until when.
#include <atomic>
#include <cstring>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

/// Encodes out = in * scale + add for the first component.
void scaleAndAdd(const Gpu& gpu, MTLCommandBuffer& commands, std::shared_ptr<MTLTexture> in,
                 std::shared_ptr<MTLTexture> out, float scale, float add) {
    const float constants[2] = {scale, add};
    auto encoder = commands.makeComputeCommandEncoder();
    encoder->setComputePipelineState(gpu.compute("scaleAndAdd"));
    encoder->setTexture(std::move(in), 0);
    encoder->setTexture(std::move(out), 1);
    encoder->setBytes(constants, sizeof(constants), 3);
    encoder->dispatchThreadgroups({64, 64, 1}, {1, 1, 1});
    encoder->endEncoding();
}

/// Sets a flag on another thread's behalf when the last copy goes.
struct Signal {
    std::promise<void> gone;
    ~Signal() { gone.set_value(); }
};

/// A drawable that writes down when it is shown.
class Drawable final : public MTLDrawable {
public:
    explicit Drawable(std::function<void()> shown) : shown_(std::move(shown)) {}
    void present() override { shown_(); }

private:
    std::function<void()> shown_;
};

}  // namespace

// Steps that don't commute, spread over several queues; none but the last is waited for.
TEST(Order, IsThatOfCommitAcrossQueues) {
    const Gpu gpu(3);
    std::vector<std::shared_ptr<MTLCommandQueue>> queues;
    for (int index = 0; index < 3; ++index) queues.push_back(gpu.device->makeCommandQueue());
    const std::array textures = {gpu.texture(64, 64), gpu.texture(64, 64)};
    double expected = 0;
    std::shared_ptr<MTLCommandBuffer> last;
    std::vector<std::shared_ptr<MTLCommandBuffer>> recorded;
    for (int step = 0; step < 300; ++step) {
        const float scale = step % 2 == 0 ? 1.5F : 0.5F;
        last = queues[static_cast<std::size_t>(step % 3)]->makeCommandBuffer();
        scaleAndAdd(gpu, *last, textures[static_cast<std::size_t>(step % 2)],
                    textures[static_cast<std::size_t>((step + 1) % 2)], scale, 1);
        last->commit();
        expected = static_cast<float>(expected * scale + 1);
        if (step % 50 == 49) last->waitUntilCompleted();  // so that waiting threads take part, too
    }
    last->waitUntilCompleted();
    for (const Color& color : colors(*textures[0])) ASSERT_FLOAT_EQ(color[0], static_cast<float>(expected));
}

// Threads that commit and wait at the same time must neither hang nor disturb each other's work.
TEST(Order, HoldsWithManyWaitingThreads) {
    const Gpu gpu(2);
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&gpu, &right, thread] {
            const auto target = gpu.texture(40, 40);
            for (int turn = 0; turn < 100; ++turn) {
                const auto value = static_cast<float>(thread * 1000 + turn);
                auto commands = gpu.device->makeCommandQueue()->makeCommandBuffer();
                gpu.fill(*commands, target, {value, 0, 0, 0});
                commands->commit();
                if (turn % 3 == 0) continue;
                commands->waitUntilCompleted();
                right += colors(*target)[1599][0] == value;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 4 * 66);
}

// Work that nobody waits for is done all the same, and its handlers run once each, in order.
TEST(Handlers, RunWithoutAnyoneWaiting) {
    const Gpu gpu;
    for (int turn = 0; turn < 20; ++turn) {
        std::promise<std::vector<int>> promise;
        std::vector<int> calls;
        auto commands = gpu.queue->makeCommandBuffer();
        const auto target = gpu.texture(4, 4);
        gpu.fill(*commands, target, {1, 1, 1, 1});
        commands->present(std::make_shared<Drawable>([&] { calls.push_back(0); }));
        commands->addCompletedHandler([&](MTLCommandBuffer& buffer) {
            EXPECT_EQ(buffer.status(), MTLCommandBufferStatus::completed);
            calls.push_back(1);
        });
        commands->addCompletedHandler([&](MTLCommandBuffer&) {
            calls.push_back(2);
            promise.set_value(calls);
        });
        commands->commit();
        commands->commit();
        EXPECT_EQ(promise.get_future().get(), (std::vector<int>{0, 1, 2}));
        EXPECT_EQ(colors(*target)[15][0], 1);
    }
}

// Waiting ends with the work: a handler that blocks until the wait is over would hang otherwise.
TEST(Handlers, MayRunLongerThanTheWait) {
    const Gpu gpu;
    std::promise<void> waitIsOver, handlerIsOver;
    auto commands = gpu.queue->makeCommandBuffer();
    commands->addCompletedHandler([&](MTLCommandBuffer&) {
        waitIsOver.get_future().wait();
        handlerIsOver.set_value();
    });
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), MTLCommandBufferStatus::completed);
    waitIsOver.set_value();
    handlerIsOver.get_future().wait();
}

TEST(Handlers, MayEncodeCommitAndWait) {
    const Gpu gpu;
    const auto first = gpu.texture(8, 8), second = gpu.texture(8, 8);
    std::promise<float> seen;
    auto commands = gpu.queue->makeCommandBuffer();
    gpu.fill(*commands, first, {3, 0, 0, 0});
    commands->addCompletedHandler([&](MTLCommandBuffer& buffer) {
        buffer.waitUntilCompleted();
        auto next = gpu.device->makeCommandQueue()->makeCommandBuffer();
        scaleAndAdd(gpu, *next, first, second, 2, 1);
        next->commit();
        next->waitUntilCompleted();
        seen.set_value(colors(*second)[63][0]);
    });
    commands->commit();
    EXPECT_EQ(seen.get_future().get(), 7);
}

TEST(Handlers, RunForFailedWork) {
    const Gpu gpu;
    std::promise<MTLCommandBufferStatus> status;
    auto commands = gpu.queue->makeCommandBuffer();
    commands->makeRenderCommandEncoder({})->endEncoding();
    commands->addCompletedHandler([&](MTLCommandBuffer& buffer) { status.set_value(buffer.status()); });
    commands->commit();
    EXPECT_EQ(status.get_future().get(), MTLCommandBufferStatus::error);
}

// Bound objects live until the work is done, and no longer.
TEST(Lifetime, OfWhatIsBound) {
    const Gpu gpu;
    auto commands = gpu.queue->makeCommandBuffer();
    auto target = gpu.texture(300, 300);
    const std::weak_ptr<MTLTexture> watched = target;
    gpu.fill(*commands, std::move(target), {1, 2, 3, 4});
    EXPECT_FALSE(watched.expired());
    commands->commit();
    commands->waitUntilCompleted();
    EXPECT_TRUE(watched.expired());
}

TEST(Lifetime, DroppedWithoutCommitDoesNothing) {
    const Gpu gpu;
    const auto target = gpu.texture(4, 4);
    std::atomic<bool> called{false};
    auto dropped = gpu.queue->makeCommandBuffer();
    gpu.fill(*dropped, target, {1, 1, 1, 1});
    dropped->addCompletedHandler([&](MTLCommandBuffer&) { called = true; });
    dropped->waitUntilCompleted();  // returns at once
    dropped.reset();
    auto next = gpu.queue->makeCommandBuffer();
    next->commit();
    next->waitUntilCompleted();
    EXPECT_FALSE(called);
    EXPECT_EQ(colors(*target)[0], (Color{0, 0, 0, 0}));
}

// Device, queue and command buffer go while their work is under way; it is done all the same.
TEST(Lifetime, CommittedWorkOutlivesTheDevice) {
    for (int turn = 0; turn < 30; ++turn) {
        auto gpu = std::make_unique<Gpu>(3);
        const auto textures = std::array{gpu->texture(64, 64), gpu->texture(64, 64)};
        std::promise<void> done;
        for (int step = 0; step < 10; ++step) {
            auto commands = gpu->queue->makeCommandBuffer();
            scaleAndAdd(*gpu, *commands, textures[static_cast<std::size_t>(step % 2)],
                        textures[static_cast<std::size_t>((step + 1) % 2)], 1, 1);
            if (step == 9) commands->addCompletedHandler([&](MTLCommandBuffer&) { done.set_value(); });
            commands->commit();
        }
        gpu.reset();
        done.get_future().wait();
        EXPECT_EQ(colors(*textures[0])[0][0], 10);
    }
}

// The last references to everything, the device with its threads included, go in a handler or right after it.
TEST(Lifetime, LastReferencesMayGoInAHandler) {
    struct Everything {
        Signal signal;  // goes last
        Gpu gpu{2};
    };
    for (int turn = 0; turn < 30; ++turn) {
        auto everything = std::make_shared<Everything>();
        auto gone = everything->signal.gone.get_future();
        auto commands = everything->gpu.queue->makeCommandBuffer();
        everything->gpu.fill(*commands, everything->gpu.texture(200, 200), {1, 1, 1, 1});
        const bool inside = turn % 2 == 0;
        commands->addCompletedHandler([kept = everything, inside](MTLCommandBuffer&) mutable {
            if (inside) kept.reset();
        });
        commands->commit();
        commands.reset();
        everything.reset();
        gone.wait();
    }
}

// Constants are taken when the work runs, and written by the host meanwhile without tearing or a report of a race.
TEST(Constants, MayBeWrittenWhileWorkRuns) {
    const Gpu gpu;
    const auto constants = gpu.device->makeBuffer(16, 0);
    auto* words = static_cast<std::uint32_t*>(constants->contents());
    const auto write = [&](float value) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof(bits));
        for (int word = 0; word < 4; ++word) std::atomic_ref(words[word]).store(bits, std::memory_order_relaxed);
    };
    const auto encode = [&](const std::shared_ptr<MTLTexture>& target) {
        auto commands = gpu.queue->makeCommandBuffer();
        auto encoder = commands->makeComputeCommandEncoder();
        encoder->setComputePipelineState(gpu.compute("fill"));
        encoder->setTexture(target, 0);
        encoder->setBuffer(constants, 0, 0);
        encoder->dispatchThreadgroups({32, 32, 1}, {1, 1, 1});
        encoder->endEncoding();
        return commands;
    };
    const auto target = gpu.texture(32, 32);
    for (int turn = 0; turn < 50; ++turn) {
        write(1);
        auto commands = encode(target);
        write(2);  // before commit: this is what the work reads
        commands->commit();
        commands->waitUntilCompleted();
        ASSERT_EQ(colors(*target)[1023][0], 2);
        auto racing = encode(target);
        racing->commit();
        write(3);
        racing->waitUntilCompleted();
        const auto drawn = colors(*target);
        ASSERT_TRUE(drawn[0][0] == 2 || drawn[0][0] == 3);
        for (const Color& color : drawn) ASSERT_EQ(color[0], drawn[0][0]);  // one value all over the target
    }
}
