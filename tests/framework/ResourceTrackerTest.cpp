#include <thread>

#include <tests/support/RecordingTest.h>

#include <ondrix/platform/os/mach_time.h>

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

TEST(Utility, MeasuresABlockInMilliseconds) {
    static std::uint64_t ticks = 1000;
    const os::TickSource previous = os::setTickSource([] { return ticks; });
    testing::internal::CaptureStdout();
    Utility::measure("render", [] { ticks += 1500000; });
    Utility::measure("nothing", [] {});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "render took 1.500 ms\nnothing took 0.000 ms\n");
    os::setTickSource(previous);
}

}  // namespace
}  // namespace ondrix
