// Times are fractions: what they lose is an endless shift between sound and picture. The main run loop and the display
// link go by a clock that moves when told to.
#include <cmath>
#include <limits>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <tests/support/ManualClock.h>

#include <ondrix/platform/coremedia/CMTime.h>
#include <ondrix/platform/quartzcore/CADisplayLink.h>

namespace ondrix {
namespace {

constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int32_t finest = std::numeric_limits<std::int32_t>::max();
constexpr CMTime invalid = kCMTimeInvalid, indefinite = kCMTimeIndefinite;
constexpr CMTime endless = kCMTimePositiveInfinity, beginningless = kCMTimeNegativeInfinity;
constexpr CMTime unflagged = {5, 600, 0, 1};  // invalid too

constexpr CMTime at(std::int64_t value, std::int32_t timescale, std::int64_t epoch = 0) {
    return {value, timescale, kCMTimeFlags_Valid, epoch};
}
constexpr CMTime rounded(std::int64_t value, std::int32_t timescale) {
    return {value, timescale, kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded, 0};
}
auto parts(CMTime time) {
    return std::tuple(time.value, time.timescale, time.flags, time.epoch);
}
void expect(const std::vector<CMTime>& results, const std::vector<CMTime>& expected) {
    for (std::size_t i = 0; i < results.size(); ++i) EXPECT_EQ(parts(results[i]), parts(expected.at(i))) << i;
}

TEST(Time, CalculatesWithoutLossWhereAnyTimescaleFits) {
    expect({CMTimeAdd(at(-1, 24), at(1, 90000))}, {at(-3749, 90000)});
    // The common timescale is too fine, but not for these values.
    expect({CMTimeAdd(at(finest, finest), at(finest - 1, finest - 1)), CMTimeAdd(at(huge - 1, 2), at(huge - 1, 2))},
           {at(2, 1), at(huge - 1, 1)});
    // 1/p + 1/(p - 1) is two of the finest ticks and a bit; the other sum is 2/3 over a whole second.
    expect({CMTimeAdd(at(-1, finest), at(-1, finest - 1)), CMTimeAdd(at(huge, 3), at(huge, 3))},
           {rounded(-2, finest), rounded(6148914691236517205, 1)});
    expect({CMTimeAdd(at(lowest, 1), at(-1, 1)), CMTimeAdd(rounded(1, 2), at(1, 2)), CMTimeAdd(at(1, 2), at(1, 2, 7)),
            CMTimeAdd(at(1, 2, 7), at(1, 2, 8)), CMTimeAdd(at(1, 2), at(1, 0))},
           {beginningless, rounded(2, 2), at(2, 2, 7), invalid, invalid});
    expect({CMTimeAdd(endless, beginningless), CMTimeAdd(endless, indefinite), CMTimeAdd(indefinite, invalid)},
           {invalid, indefinite, invalid});
    expect({CMTimeSubtract(at(-1, 1), at(lowest, 1)), CMTimeSubtract(at(5, 1, 3), at(2, 1, 3)),
            CMTimeSubtract(at(5, 1, 3), at(2, 1)), CMTimeSubtract(at(0, 1), endless)},
           {at(huge, 1), at(3, 1), at(3, 1, 3), beginningless});
    expect({CMTimeMultiply(at(1001, 30000), -3), CMTimeMultiply(at(lowest, 1), -finest), CMTimeMultiply(endless, -1),
            CMTimeMultiply(endless, 0), CMTimeMultiply(indefinite, 0), CMTimeMultiply(invalid, 2),
            CMTimeSubtract(endless, indefinite)},
           {at(-3003, 30000), endless, beginningless, invalid, indefinite, invalid, indefinite});
    expect({CMTimeMakeWithSeconds(0.25, 2), CMTimeMakeWithSeconds(-1e-300, 600), CMTimeMakeWithSeconds(0x1p53, 1024),
            CMTimeMakeWithSeconds(-0x1p53, 1024), CMTimeMakeWithSeconds(-HUGE_VAL, 600),
            CMTimeMakeWithSeconds(std::nan(""), 600)},
           {rounded(1, 2), rounded(0, 600), endless, at(lowest, 1024), beginningless, invalid});
    EXPECT_EQ(CMTimeGetSeconds(at(-1, 4)), -0.25);
    EXPECT_EQ(CMTimeGetSeconds(beginningless), -HUGE_VAL);
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(indefinite)) && std::isinf(CMTimeGetSeconds(endless)));
}

TEST(Time, ConvertsWithEachRounding) {
    using enum CMTimeRoundingMethod;
    // Of 1/2, -1/2, 1/3 and -1/3 as whole seconds.
    const std::pair<CMTimeRoundingMethod, std::vector<int>> cases[] = {{roundHalfAwayFromZero, {1, -1, 0, 0}},
                                                                       {roundTowardZero, {0, 0, 0, 0}},
                                                                       {roundAwayFromZero, {1, -1, 1, -1}},
                                                                       {roundTowardPositiveInfinity, {1, 0, 1, 0}},
                                                                       {roundTowardNegativeInfinity, {0, -1, 0, -1}}};
    const CMTime times[] = {at(1, 2), at(-1, 2), at(1, 3), at(-1, 3)};
    for (const auto& [method, wholes] : cases) {
        for (int i = 0; i < 4; ++i) expect({CMTimeConvertScale(times[i], 1, method)}, {rounded(wholes[i], 1)});
        expect({CMTimeConvertScale(at(3, 30, 4), 90000, method), CMTimeConvertScale(at(lowest, 1), 2, method)},
               {at(9000, 90000, 4), beginningless});
    }
}

TEST(Time, ComparesEveryPairWithoutLoss) {
    const auto list = [](auto... times) { return std::vector<CMTime>{times...}; };
    // Ascending, and the same once more. In double, `huge` and the one before it are the same.
    const auto order = list(beginningless, at(lowest, 1), at(-1, 30), at(1, 3), at(333333334, 1000000000),
                            at(huge - 1, finest), at(huge, finest), at(lowest, 1, 1), indefinite, endless, unflagged);
    const auto same =
        list(beginningless, at(lowest, 1), at(-3000, 90000), at(2, 6), at(166666667, 500000000), at(huge - 1, finest),
             rounded(huge, finest), at(lowest, 1, 1), indefinite, endless, at(0, 0));
    for (std::size_t i = 0; i < order.size(); ++i) {
        for (std::size_t j = 0; j < same.size(); ++j) {
            EXPECT_EQ(CMTimeCompare(order[i], same[j]), i < j ? -1 : i > j) << i << " and " << j;
        }
    }
}

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
