// The main run loop and the display link, by a clock that moves when told to.
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <tests/support/ManualClock.h>

#include <ondrix/platform/quartzcore/CADisplayLink.h>

namespace ondrix {
namespace {

NSRunLoop& loop = NSRunLoop::main();
std::vector<int> calls;

auto call(int number) {
    return [number] { calls.push_back(number); };
}

TEST(RunLoop, RunsTheBlocksOfBlocksInTheNextPass) {
    calls.clear();
    // What a block holds goes after its call, and may still use the loop.
    const auto atItsEnd = [](void*) { loop.perform(call(3)); };
    loop.perform([=] {
        loop.perform([held = std::shared_ptr<void>(nullptr, atItsEnd)] {});
        calls.push_back(1);
    });
    loop.perform(call(2));
    loop.runUntilIdle();
    loop.runUntilIdle();
    EXPECT_EQ(calls, (std::vector{1, 2}));
    loop.perform([] { loop.runUntilIdle(); });
    loop.perform(call(4));
    loop.runUntilIdle();
    EXPECT_EQ(calls, (std::vector{1, 2, 3, 4})) << "once, though two passes found them";
}

TEST(RunLoop, WakesForOtherThreadsAndStopsTheInnermostRun) {
    calls.clear();
    std::thread other([] {
        loop.perform([] {
            loop.perform([] { loop.stop(); });
            loop.run();
            calls.push_back(1);
            loop.perform(call(2));
            loop.stop();
        });
    });
    loop.run();
    other.join();
    loop.stop();
    loop.run();
    EXPECT_EQ(calls, (std::vector{1})) << "stopped before it began";
    loop.perform([] { loop.stop(); });
    loop.perform(call(3));
    loop.run();
    EXPECT_EQ(calls, (std::vector{1, 2})) << "what is left waits for the next run";
    loop.run(0);
    EXPECT_EQ(calls, (std::vector{1, 2, 3}));
}

class DisplayLink : public testing::Test {
protected:
    struct Target {
        std::function<void()> action = [] {};
        int count = 0;
        void refresh() { ++count, action(); }
    };

    ~DisplayLink() override {
        link->invalidate();
        loop.runUntilIdle();
        CADisplayLink::setRefreshRate(60);
    }
    /// Refreshes seen when `seconds` have passed.
    int refreshesAfter(double seconds) {
        const int before = target->count;
        clock.advance(seconds);
        loop.runUntilIdle();
        return target->count - before;
    }

    test::ManualClock clock;
    std::shared_ptr<Target> target = std::make_shared<Target>();
    std::shared_ptr<CADisplayLink> link = CADisplayLink::create(target, &Target::refresh);
};

TEST_F(DisplayLink, FiresOnASteadyGridAndSkipsWhatItMissed) {
    int others = 0;
    const auto other = CADisplayLink::create([&others] { ++others; });
    target->action = [&] {
        if (target->count == 1) other->add(loop);
        loop.runUntilIdle();  // makes no call within this one
    };
    link->add(loop);
    // Once a refresh; missed ones are not made up, and a late call moves nothing.
    for (const auto& [seconds, refreshes] : {std::pair(0.9, 0), {0.2, 1}, {0.0, 0}, {5.8, 1}, {0.2, 1}}) {
        EXPECT_EQ(refreshesAfter(seconds / 60), refreshes) << seconds;
    }
    int count = 0;
    for (int third = 0; third < 3 * 600; ++third) count += refreshesAfter(0.4 / 60);
    EXPECT_EQ(count, 720) << "nor do many";
    EXPECT_EQ(others, 722) << "all but the one in which it was added";
    other->invalidate();
}

TEST_F(DisplayLink, FollowsTheRateAndPauses) {
    for (const double rate : {100.0, 0.5, 1001.0, -60.0}) CADisplayLink::setRefreshRate(rate);
    link->add(loop);
    EXPECT_EQ(refreshesAfter(0.0101), 1);
    EXPECT_EQ(refreshesAfter(CADisplayLink::refreshInterval()), 1);
    link->setPaused(true);
    EXPECT_EQ(refreshesAfter(0.055), 0);
    link->setPaused(false);
    EXPECT_EQ(refreshesAfter(0.004), 0) << "not between refreshes";
    EXPECT_EQ(refreshesAfter(0.002), 1);
}

TEST_F(DisplayLink, KeepsItsTargetToTheEndOfTheCallThatInvalidatesIt) {
    const std::weak_ptr weakTarget = target;
    const std::weak_ptr weakLink = link;
    bool wasThere = false;
    target->action = [&] {
        std::exchange(link, CADisplayLink::create([] {}))->invalidate();
        wasThere = !weakTarget.expired();
    };
    link->add(loop);
    target.reset();
    clock.advance(1);
    loop.runUntilIdle();
    EXPECT_TRUE(wasThere && weakTarget.expired());
    loop.runUntilIdle();
    EXPECT_TRUE(weakLink.expired()) << "the loop holds what is valid";
}

}  // namespace
}  // namespace ondrix
