#include <limits>

#include <gtest/gtest.h>
#include <tests/support/ManualClock.h>

#include <ondrix/profiling/Profiler.h>

namespace ondrix {
namespace {

class ProfilerTest : public testing::Test {
protected:
    void measure(Int timer, double seconds) {
        profiler->onStarted(timer);
        clock.advance(seconds);
        profiler->onEnded(timer);
    }
    void expectMeans(double first, double second) {
        EXPECT_NEAR(profiler->getMeanInterval(0).value(), first, 1e-9);
        EXPECT_NEAR(profiler->getMeanInterval(1).value(), second, 1e-9);
    }

    test::ManualClock clock;
    std::shared_ptr<Profiler> profiler = Profiler::create(2, 0.5);
};

TEST_F(ProfilerTest, PublishesTheMeansOfAPeriod) {
    for (const double seconds : {0.125, 0.0625, 0.0}) measure(0, seconds);
    measure(1, 0.25);
    EXPECT_FALSE(profiler->update());
    expectMeans(0, 0);
    clock.advance(0.0625);
    EXPECT_TRUE(profiler->update()) << "exactly one period has passed";
    expectMeans(0.0625, 0.25);
    EXPECT_FALSE(profiler->update()) << "a new period has begun";

    profiler->onEnded(0);
    profiler->onStarted(0);
    clock.advance(0.25);
    measure(0, 0.75);  // ends the open interval first
    profiler->onEnded(0);
    profiler->onStarted(1);
    EXPECT_TRUE(profiler->update());
    expectMeans(0.5, 0);
    clock.advance(1);
    profiler->onEnded(1);
    EXPECT_TRUE(profiler->update());
    expectMeans(0, 0);  // an interval that an update interrupts is lost
}

TEST_F(ProfilerTest, IgnoresTimersThatItDoesNotHave) {
    for (const Int timer : {Int{-1}, Int{2}, std::numeric_limits<Int>::min()}) {
        measure(timer, 1);
        EXPECT_EQ(profiler->getMeanInterval(timer), std::nullopt);
    }
    EXPECT_TRUE(Profiler::create(0, 0)->update()) << "a period of 0 is always over";
    for (const Int count : {Int{-1}, std::numeric_limits<Int>::max()}) EXPECT_EQ(Profiler::create(count, 1), nullptr);
}

}  // namespace
}  // namespace ondrix
