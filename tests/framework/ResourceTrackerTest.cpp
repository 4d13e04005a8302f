#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/Ondrix.h>
#include <ondrix/platform/os/mach_time.h>

namespace ondrix {

class NamedResource : public ManagedResource {
public:
    void prepareForRelease() override {}
    void cleanup() override {}
};
namespace inner {
template <class Element>
class Templated : public NamedResource {};
}  // namespace inner

namespace {

using test::RecordingDevice;

class TrackedDevice : public Device {
public:
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
    const std::string doubleLine = std::string(80, '=') + "\n";
    const std::string singleLine = std::string(80, '-') + "\n";
    return doubleLine + " Tracked resources:\n" + singleLine + entries + singleLine + " " + std::to_string(count) +
           " resources tracked in total.\n" + doubleLine;
}

TEST(ResourceTracker, ReportsPositionAndUnqualifiedDynamicClass) {
    const auto device = Device::create(std::make_shared<RecordingDevice>());
    const auto texture = device->makeTexture(4, 4, MTLPixelFormat::r8Unorm, MTLTextureUsage::unknown);
    ResourceTracker tracker;
    EXPECT_EQ(report(tracker), expectedReport("", 0));
    tracker.track(texture);
    tracker.track(std::shared_ptr<ManagedResource>(device));
    EXPECT_EQ(report(tracker), expectedReport(" -   0: Texture\n -   1: Device\n", 2));
}

TEST(ResourceTracker, AnObjectMayHaveSeveralEntries) {
    const auto resource = std::make_shared<NamedResource>();
    const auto stranger = std::make_shared<NamedResource>();
    ResourceTracker tracker;
    tracker.track(resource);
    tracker.track(resource);
    tracker.untrack(*stranger);
    EXPECT_EQ(report(tracker), expectedReport(" -   0: NamedResource\n -   1: NamedResource\n", 2));
    tracker.untrack(*resource);
    EXPECT_EQ(report(tracker), expectedReport(" -   0: NamedResource\n", 1));
}

TEST(ResourceTracker, TheDeadAreForgottenByTheNextReport) {
    ResourceTracker tracker;
    auto first = std::make_shared<NamedResource>();
    const auto second = std::make_shared<inner::Templated<std::string>>();
    tracker.track(first);
    tracker.track(second);
    first.reset();
    const std::string text = report(tracker);
    EXPECT_THAT(text, testing::HasSubstr(" -   0: Templated<"));
    EXPECT_THAT(text, testing::HasSubstr(" 1 resources tracked in total."));
}

TEST(ResourceTracker, PositionsTakeThreeColumnsOrMore) {
    const auto resource = std::make_shared<NamedResource>();
    ResourceTracker tracker;
    for (int i = 0; i <= 1000; ++i) tracker.track(resource);
    const std::string text = report(tracker);
    EXPECT_THAT(text, testing::HasSubstr("\n -  12: NamedResource\n"));
    EXPECT_THAT(text, testing::HasSubstr("\n - 1000: NamedResource\n"));
}

// The object's last reference drops in the report, and its destructor calls the tracker.
TEST(ResourceTracker, ADestructorMayUntrackWhileOthersReport) {
    class SelfUntracking : public NamedResource {
    public:
        explicit SelfUntracking(ResourceTracker& tracker) : tracker_(tracker) {}
        ~SelfUntracking() override { tracker_.untrack(*this); }

    private:
        ResourceTracker& tracker_;
    };
    ResourceTracker tracker;
    testing::internal::CaptureStdout();
    std::thread reporter([&tracker] {
        for (int i = 0; i < 200; ++i) tracker.printTrackedResources();
    });
    for (int i = 0; i < 2000; ++i) {
        const auto resource = std::make_shared<SelfUntracking>(tracker);
        tracker.track(resource);
    }
    reporter.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(report(tracker), expectedReport("", 0));
}

TEST(ResourceTracker, ADeviceForwardsOnlyToATrackerOfItsOwn) {
    const auto resource = std::make_shared<NamedResource>();
    TrackedDevice device(std::make_shared<RecordingDevice>());
    device.track(resource);
    EXPECT_EQ(report(device), "");
    device.setResourceTracker(std::make_shared<ResourceTracker>());
    device.track(resource);
    resource->track(device);  // of the resource itself: does nothing
    EXPECT_EQ(report(device), expectedReport(" -   0: NamedResource\n", 1));
    device.untrack(*resource);
    EXPECT_EQ(report(device), expectedReport("", 0));
}

TEST(Logger, ThereIsOneWhichNamesTheProgram) {
    const test::LogCapture log;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([] { Logger::gfx().error("from %s", "a thread"); });
    for (auto& thread : threads) thread.join();
    ASSERT_EQ(log.entries().size(), 4u);
    for (const auto& entry : log.entries()) {
        EXPECT_EQ(entry.category, "gfx");
        EXPECT_EQ(entry.subsystem, "framework-test");
        EXPECT_EQ(entry.type, os::LogType::error);
        EXPECT_EQ(entry.text, "from a thread");
    }
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
