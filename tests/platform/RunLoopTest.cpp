// The main run loop and the display link, by a clock that moves when told to.
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <tests/support/ManualClock.h>

#include <ondrix/platform/quartzcore/CADisplayLink.h>

namespace ondrix {
namespace {

NSRunLoop& loop = NSRunLoop::main();

TEST(RunLoop, RunsTheBlocksOfBlocksInTheNextPass) {
    std::vector<int> calls;
    for (const int block : {1, 2}) {
        loop.perform([&calls, block] {
            // What a block holds goes after its call, and may still use the loop.
            const auto next = [&calls, block](void*) {
                loop.perform([&calls, block] { calls.push_back(10 * block); });
            };
            loop.perform([held = std::shared_ptr<void>(nullptr, next)] {});
            calls.push_back(block);
        });
    }
    loop.runUntilIdle();
    loop.runUntilIdle();
    EXPECT_EQ(calls, (std::vector{1, 2}));
    loop.runUntilIdle();
    EXPECT_EQ(calls, (std::vector{1, 2, 10, 20}));
    loop.perform([] { loop.runUntilIdle(); });
    loop.perform([&calls] { calls.push_back(3); });
    loop.runUntilIdle();
    EXPECT_EQ(calls.size(), 5u) << "once, though two passes found it";
}

/// The run sleeps until another thread wakes it; a stop in a nested run ends that run alone; what a stopped run left is
/// there for the next.
TEST(RunLoop, WakesForOtherThreadsAndStopsTheInnermostRun) {
    std::vector<int> calls;
    std::thread other([&calls] {
        loop.perform([&calls] {
            loop.perform([] { loop.stop(); });
            loop.run();
            calls.push_back(1);
            loop.perform([&calls] { calls.push_back(2); });
            loop.stop();
        });
    });
    loop.run();
    other.join();
    EXPECT_EQ(calls, (std::vector{1}));
    loop.stop();
    loop.run();
    EXPECT_EQ(calls, (std::vector{1})) << "stopped before it began";
    loop.perform([] { loop.stop(); });
    loop.perform([&calls] { calls.push_back(3); });
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
        const int before = owned->count;
        clock.advance(seconds);
        loop.runUntilIdle();
        return owned->count - before;
    }

    test::ManualClock clock;
    std::shared_ptr<Target> owned = std::make_shared<Target>();
    std::shared_ptr<CADisplayLink> link = CADisplayLink::create(owned, &Target::refresh);
};

TEST_F(DisplayLink, FiresOnASteadyGridAndSkipsWhatItMissed) {
    link->add(loop);
    EXPECT_EQ(refreshesAfter(0.9 / 60), 0);
    EXPECT_EQ(refreshesAfter(0.2 / 60), 1);
    EXPECT_EQ(refreshesAfter(0), 0) << "once a refresh";
    EXPECT_EQ(refreshesAfter(5.8 / 60), 1) << "missed ones are not made up";
    EXPECT_EQ(refreshesAfter(0.2 / 60), 1) << "a late call moves nothing";
    int count = 0;
    for (int third = 0; third < 3 * 600; ++third) count += refreshesAfter(0.4 / 60);
    EXPECT_EQ(count, 720) << "nor do many";
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
    const std::weak_ptr target = owned;
    const std::weak_ptr weakLink = link;
    bool wasThere = false;
    owned->action = [&] {
        std::exchange(link, CADisplayLink::create([] {}))->invalidate();
        wasThere = !target.expired();
    };
    link->add(loop);
    owned.reset();
    clock.advance(1);
    loop.runUntilIdle();
    EXPECT_TRUE(wasThere);
    EXPECT_TRUE(target.expired());
    loop.runUntilIdle();
    EXPECT_TRUE(weakLink.expired()) << "the loop holds what is valid";
}

TEST_F(DisplayLink, MayAddOthersAndRunTheLoopInItsCall) {
    int others = 0;
    const auto other = CADisplayLink::create([&others] { ++others; });
    owned->action = [&] {
        if (owned->count == 1) other->add(loop);
        loop.runUntilIdle();
    };
    link->add(loop);
    EXPECT_EQ(refreshesAfter(1), 1) << "no call within its own call";
    EXPECT_EQ(refreshesAfter(1), 1);
    EXPECT_EQ(others, 1);
    other->invalidate();
}

}  // namespace
}  // namespace ondrix
