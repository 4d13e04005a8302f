// When work runs, who sees its results, and who holds what until when.
#include <atomic>
#include <functional>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include <ondrix/platform/metalkit/HeadlessView.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

/// A drawable that does something when it is shown.
struct Drawable final : MTLDrawable {
    explicit Drawable(std::function<void()> onShow) : shown(std::move(onShow)) {}
    void present() override { shown(); }
    std::function<void()> shown;
};

}  // namespace

// Steps that don't commute, spread over several queues; none but the last is waited for.
TEST(Order, IsThatOfCommitAcrossQueues) {
    const Gpu gpu(3);
    std::vector<std::shared_ptr<MTLCommandQueue>> queues;
    for (int index = 0; index < 3; ++index) queues.push_back(gpu.device->makeCommandQueue());
    TexturePointer from = gpu.texture(64, 64), to = gpu.texture(64, 64);
    float expected = 0;
    for (int step = 0; step < 300; ++step) {
        const float scale = step % 2 == 0 ? 1.5F : 0.5F;
        const auto commands = queues[static_cast<std::size_t>(step % 3)]->makeCommandBuffer();
        gpu.dispatch(*commands, "scaleAndAdd", {from, to}, gpu.buffer(std::vector{scale, 1.0F}));
        commands->commit();
        expected = expected * scale + 1;
        std::swap(from, to);
        if (step % 50 == 49) commands->waitUntilCompleted();  // so that waiting threads take part, too
    }
    for (const Color& color : colors(*from)) ASSERT_FLOAT_EQ(color[0], expected);
}

// Threads that commit and wait at the same time must neither hang nor disturb each other's work, on a common device or
// on ones that come and go with memory that threads leave behind.
TEST(Order, HoldsWithManyWaitingThreads) {
    const Gpu common(2);
    std::vector<std::thread> threads;
    std::atomic<int> right{0}, handled{0};
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&common, &right, &handled, thread] {
            for (int turn = 0; turn < 48; ++turn) {
                const Gpu gpu = turn % 4 == 0 ? Gpu(2) : common;
                const auto target = gpu.texture(40, 40);
                const auto value = static_cast<float>(thread * 1000 + turn);
                auto commands = gpu.device->makeCommandQueue()->makeCommandBuffer();
                gpu.fill(*commands, target, {value, 0, 0, 0});
                const auto shown = std::make_shared<bool>(turn % 2 == 0);
                if (!*shown) commands->present(std::make_shared<Drawable>([shown] { *shown = true; }));
                commands->addCompletedHandler([&handled](auto&) { ++handled; });
                commands->commit();
                if (turn % 3 == 0) continue;
                commands->waitUntilCompleted();
                right += *shown && colors(*target)[1599][0] == value;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 8 * 32);
    while (handled < 8 * 48) std::this_thread::yield();
}

// Also those that nobody waits for. Meanwhile a drawable may wait for its own command buffer, and for others.
TEST(Drawables, AreShownInOrderBeforeTheWaitIsOver) {
    const Gpu gpu;
    const auto view = HeadlessView::create({8, 8}, gpu.device);
    std::vector<int> shown, expected;
    for (int frame = 0; frame < 200; ++frame) {
        const auto commands = gpu.queue->makeCommandBuffer();
        const auto drawable = view->currentDrawable();
        ASSERT_NE(drawable, nullptr);
        gpu.fill(*commands, drawable->texture(), {1, 1, 1, 1});
        commands->present(drawable);
        commands->present(std::make_shared<Drawable>([&shown, &gpu, frame, own = commands.get()] {
            shown.push_back(frame);
            if (frame % 5 != 0) return;
            own->waitUntilCompleted();
            bool otherIsShown = false;
            const auto other = gpu.queue->makeCommandBuffer();
            other->present(std::make_shared<Drawable>([&] { otherIsShown = true; }));
            run(*other);
            EXPECT_TRUE(otherIsShown);
        }));
        commands->commit();
        expected.push_back(frame);
        if (frame % 3 == 0) continue;  // not the last one
        commands->waitUntilCompleted();
        ASSERT_EQ(view->shownFrameCount(), frame + 1);
        ASSERT_EQ(shown, expected);
    }
}

// Work that nobody waits for is done all the same, and its handlers run once each, in order. They may encode, commit
// and wait.
TEST(Handlers, RunWithoutAnyoneWaiting) {
    const Gpu gpu;
    for (int turn = 0; turn < 20; ++turn) {
        std::promise<std::vector<int>> promise;
        std::vector<int> calls;
        auto commands = gpu.queue->makeCommandBuffer();
        const auto first = gpu.texture(8, 8), second = gpu.texture(8, 8);
        gpu.fill(*commands, first, {3, 0, 0, 0});
        commands->present(std::make_shared<Drawable>([&] { calls.push_back(0); }));
        commands->addCompletedHandler([&](MTLCommandBuffer& buffer) {
            EXPECT_EQ(buffer.status(), MTLCommandBufferStatus::completed);
            calls.push_back(1);
            buffer.waitUntilCompleted();
            auto next = gpu.device->makeCommandQueue()->makeCommandBuffer();
            gpu.dispatch(*next, "scaleAndAdd", {first, second}, gpu.buffer(std::vector{2.0F, 1.0F}));
            next->present(std::make_shared<Drawable>([&] { calls.push_back(2); }));
            run(*next);
        });
        commands->addCompletedHandler([&](MTLCommandBuffer&) {
            calls.push_back(3);
            promise.set_value(calls);
        });
        commands->commit();
        commands->commit();
        EXPECT_EQ(promise.get_future().get(), (std::vector<int>{0, 1, 2, 3}));
        EXPECT_EQ(colors(*second)[63][0], 7);
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
    run(*commands);
    waitIsOver.set_value();
    handlerIsOver.get_future().wait();
}

// Bound objects live until the work is done, and no longer. Without a commit nothing is done.
TEST(Lifetime, OfWhatIsBound) {
    const Gpu gpu;
    auto bound = gpu.texture(300, 300);
    const std::weak_ptr<MTLTexture> watched = bound;
    const auto target = gpu.texture(4, 4);
    std::atomic<bool> called{false};
    auto commands = gpu.queue->makeCommandBuffer(), dropped = gpu.queue->makeCommandBuffer();
    gpu.fill(*commands, bound, {1, 2, 3, 4});
    bound.reset();
    gpu.fill(*dropped, target, {1, 1, 1, 1});
    dropped->addCompletedHandler([&](MTLCommandBuffer&) { called = true; });
    dropped->waitUntilCompleted();  // returns at once
    dropped.reset();
    EXPECT_FALSE(watched.expired());
    run(*commands);
    EXPECT_TRUE(watched.expired());
    EXPECT_FALSE(called);
    EXPECT_EQ(colors(*target)[0], (Color{0, 0, 0, 0}));
}

// The last references, also to the device with its threads, go during the work, in a handler or right after it.
TEST(Lifetime, CommittedWorkOutlivesTheDevice) {
    for (int turn = 0; turn < 60; ++turn) {
        std::promise<void> gone, done;
        const auto remove = [&gone](Gpu* gpu) {
            delete gpu;
            gone.set_value();
        };
        std::shared_ptr<Gpu> gpu(new Gpu(3), remove);
        TexturePointer from = gpu->texture(64, 64), to = gpu->texture(64, 64);
        for (int step = 0; step < 10; ++step) {
            const auto commands = gpu->queue->makeCommandBuffer();
            gpu->dispatch(*commands, "scaleAndAdd", {from, to}, gpu->buffer(std::vector{1.0F, 1.0F}));
            if (step == 9) {
                commands->addCompletedHandler([&done, turn, kept = turn % 3 == 0 ? nullptr : gpu](auto&) mutable {
                    if (turn % 3 == 1) kept.reset();
                    done.set_value();
                });
            }
            commands->commit();
            std::swap(from, to);
        }
        gpu.reset();
        done.get_future().wait();
        gone.get_future().wait();
        EXPECT_EQ(colors(*from)[0][0], 10);
    }
}

// Constants are taken when the work runs, and written by the host meanwhile without tearing or a report of a race.
TEST(Constants, MayBeWrittenWhileWorkRuns) {
    const Gpu gpu;
    const auto target = gpu.texture(32, 32);
    const auto constants = gpu.device->makeBuffer(16, 0);
    const auto write = [&](float value) {
        auto* words = static_cast<float*>(constants->contents());
        for (int word = 0; word < 4; ++word) std::atomic_ref(words[word]).store(value, std::memory_order_relaxed);
    };
    for (int turn = 0; turn < 50; ++turn) {
        write(1);
        auto commands = gpu.queue->makeCommandBuffer();
        gpu.dispatch(*commands, "fill", {target}, constants);
        write(2);  // before commit: this or what comes later is what the work reads
        commands->commit();
        if (turn % 2 == 0) commands->waitUntilCompleted();
        write(3);
        commands->waitUntilCompleted();
        const auto drawn = colors(*target);
        ASSERT_TRUE(drawn[0][0] == 2 || (turn % 2 == 1 && drawn[0][0] == 3)) << drawn[0][0];
        for (const Color& color : drawn) ASSERT_EQ(color[0], drawn[0][0]);  // one value all over the target
    }
}
