// What tells how an application does: its resources, its log and its times.
#include <thread>

#include <tests/support/ManualClock.h>
#include <tests/support/RecordingTest.h>

#include <ondrix/profiling/Profiler.h>

namespace ondrix {

struct NamedResource : ManagedResource {
    ~NamedResource() override { onDestruction(); }
    void prepareForRelease() override {}
    void cleanup() override {}
    std::function<void()> onDestruction = [] {};
};
namespace inner {
template <class Element>
struct Templated : NamedResource {};
}  // namespace inner

namespace {

using testing::HasSubstr;

struct TrackedDevice : Device {
    explicit TrackedDevice(std::shared_ptr<MTLDevice> mtlDevice) : Device(std::move(mtlDevice)) {}
    using Device::setResourceTracker;
};

template <class Tracker>
std::string report(Tracker& tracker) {
    testing::internal::CaptureStdout();
    tracker.printTrackedResources();
    return testing::internal::GetCapturedStdout();
}

std::string expectedReport(const std::string& entries, int count) {
    const std::string doubleLine = std::string(80, '=') + "\n", singleLine = std::string(80, '-') + "\n";
    return doubleLine + " Tracked resources:\n" + singleLine + entries + singleLine + " " + std::to_string(count) +
           " resources tracked in total.\n" + doubleLine;
}

class ResourceTrackerTest : public test::RecordingTest {
protected:
    ResourceTracker tracker;
    std::shared_ptr<NamedResource> resource = std::make_shared<NamedResource>();
};

TEST_F(ResourceTrackerTest, ReportsPositionAndUnqualifiedDynamicClassOfEachEntry) {
    EXPECT_EQ(report(tracker), expectedReport("", 0));
    tracker.track(DeviceManager::shared().shared_from_this());
    EXPECT_EQ(report(tracker), expectedReport(" -   0: DeviceManager\n", 1));
    tracker.untrack(DeviceManager::shared());
    const auto templated = std::make_shared<inner::Templated<std::string>>();
    auto tracked = texture(4, 4);
    tracker.track(tracked);
    tracker.track(resource);
    tracker.track(resource);
    tracker.untrack(*templated);
    EXPECT_EQ(report(tracker), expectedReport(" -   0: Texture\n -   1: NamedResource\n -   2: NamedResource\n", 3));
    tracker.untrack(*resource);
    EXPECT_EQ(report(tracker), expectedReport(" -   0: Texture\n -   1: NamedResource\n", 2));
    tracked.reset();
    EXPECT_EQ(report(tracker), expectedReport(" -   0: NamedResource\n", 1)) << "the dead are forgotten";
    tracker.track(templated);
    for (int i = 2; i <= 1000; ++i) tracker.track(resource);
    EXPECT_THAT(report(tracker), testing::AllOf(HasSubstr(" -   1: Templated<"), HasSubstr("\n - 1000: Named")));
}

// The object's last reference drops in the report, and its destructor calls the tracker.
TEST_F(ResourceTrackerTest, ADestructorMayUntrackWhileOthersReport) {
    testing::internal::CaptureStdout();
    std::thread reporter([this] {
        for (int i = 0; i < 200; ++i) tracker.printTrackedResources();
    });
    for (int i = 0; i < 2000; ++i) {
        const auto selfUntracking = std::make_shared<NamedResource>();
        selfUntracking->onDestruction = [this, self = selfUntracking.get()] { tracker.untrack(*self); };
        tracker.track(selfUntracking);
    }
    reporter.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(report(tracker), expectedReport("", 0));
}

TEST_F(ResourceTrackerTest, ADeviceForwardsOnlyToATrackerOfItsOwn) {
    TrackedDevice tracked(mtlDevice);
    tracked.track(resource);
    EXPECT_EQ(report(tracked), "");
    tracked.setResourceTracker(std::make_shared<ResourceTracker>());
    tracked.track(resource);
    resource->track(tracked);  // of the resource itself: does nothing
    EXPECT_EQ(report(tracked), expectedReport(" -   0: NamedResource\n", 1));
    tracked.untrack(*resource);
    EXPECT_EQ(report(tracked), expectedReport("", 0));
}

TEST(Logger, NamesTheProgram) {
    const test::LogCapture log;
    Logger::gfx().error("from %s", "here");
    ASSERT_EQ(log.entries().size(), 1u);
    const auto [type, subsystem, category, text] = log.entries().front();
    EXPECT_EQ(subsystem + ": " + category + ": " + text, "framework-test: gfx: from here");
    EXPECT_EQ(type, os::LogType::error);
}

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

}  // namespace
}  // namespace ondrix
