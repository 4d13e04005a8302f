#include <tests/video/Frames.h>

#include <ondrix/platform/os/mach_time.h>

namespace ondrix {
namespace {

using test::FrameListener;
using testing::ElementsAre;
using testing::IsEmpty;

/// An item that stands where it is put.
struct StillItem : AVPlayerItem {
    CMTime currentTime() const override { return time; }
    CMTime duration() const override { return kCMTimeIndefinite; }
    CGSize presentationSize() const override { return {}; }
    void add(std::shared_ptr<AVPlayerItemVideoOutput> added) override { output = std::move(added); }
    void remove(const std::shared_ptr<AVPlayerItemVideoOutput>& removed) override { onRemove(removed); }
    void setRate(double) override {}
    double rate() const override { return 0; }
    void seek(CMTime) override {}
    void setOnEnd(std::function<void()>) override {}

    CMTime time = kCMTimeZero;
    std::shared_ptr<AVPlayerItemVideoOutput> output;
    std::function<void(std::shared_ptr<AVPlayerItemVideoOutput>)> onRemove = [](auto) {};
};

class PlayerItemFrameSourceTest : public testing::Test {
protected:
    PlayerItemFrameSourceTest() : systemTicks(os::setTickSource([] { return ticks; })) { source->add(listener); }
    ~PlayerItemFrameSourceTest() override {
        if (const auto running = weakSource.lock()) running->destroy();
        refresh();  // the run loop lets go of the link
        os::setTickSource(systemTicks);
    }
    static void refresh() {
        ticks += 20'000'000;  // nanoseconds, more than one interval
        NSRunLoop::main().runUntilIdle();
    }
    std::shared_ptr<CVPixelBuffer> decode(Int milliseconds) {
        auto frame = test::frame(2, 2);
        EXPECT_TRUE(item->output->append(frame, CMTimeMake(milliseconds, 1000)));
        return frame;
    }

    static inline std::uint64_t ticks = 1'000'000'000;
    const os::TickSource systemTicks;
    std::shared_ptr<StillItem> item = std::make_shared<StillItem>();
    std::shared_ptr<FrameListener> listener = std::make_shared<FrameListener>();
    std::shared_ptr<AVPlayerItemFrameSource> source = AVPlayerItemFrameSource::create(item);
    std::weak_ptr<AVPlayerItemFrameSource> weakSource = source;
};

TEST_F(PlayerItemFrameSourceTest, TellsOnceOfTheNewestFrameThatIsDue) {
    const auto& attributes = item->output->pixelBufferAttributes();
    EXPECT_EQ(attributes.size(), 1u);
    EXPECT_EQ(std::get<std::int64_t>(attributes.at(kCVPixelBufferPixelFormatTypeKey)), 0x42475241);
    const test::LogCapture log;
    const auto first = decode(0);
    EXPECT_THAT(listener->frames, IsEmpty()) << "before the refresh";
    refresh();
    decode(40);
    const auto third = decode(80);
    decode(120);
    refresh();
    EXPECT_THAT(listener->frames, ElementsAre(first)) << "told again, or of what isn't due";
    item->time = CMTimeMake(100, 1000);
    refresh();
    EXPECT_THAT(listener->frames, ElementsAre(first, third));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(PlayerItemFrameSourceTest, ItsLinkKeepsItUntilDestroy) {
    source.reset();
    decode(0);
    refresh();
    EXPECT_EQ(listener->frames.size(), 1u);
    int removals = 0;
    item->time = CMTimeMake(1, 1000);
    item->onRemove = [&](const auto& output) {
        EXPECT_EQ(output, item->output);
        ++removals;
        weakSource.lock()->destroy();
        weakSource.lock()->add(listener);
        decode(1);
        refresh();
    };
    AVPlayerItemFrameSource& running = *weakSource.lock();
    running.destroy();  // ends the last reference
    EXPECT_TRUE(weakSource.expired());
    EXPECT_EQ(removals, 1) << "the second call did something";
    EXPECT_EQ(listener->frames.size(), 1u) << "the link goes before the output";
}

TEST(SampleBufferFrameSourceTest, KeepsThePicturesSampleBufferAndCanBeFedAfterItsEnd) {
    auto source = CMSampleBufferFrameSource::create();
    const auto first = std::make_shared<FrameListener>(), second = std::make_shared<FrameListener>();
    const auto image = test::frame(2, 2);
    const auto picture = test::sample(image);
    source->add(first);
    first->onFrame = [&](VideoFrameSource&) { EXPECT_EQ(source->sampleBuffer(), picture) << "stored too late"; };
    source->processFrame(picture);
    const test::LogCapture log;
    source->processFrame(test::sound(1, {}));
    EXPECT_THAT(log.messages(), ElementsAre("Failed to get pixel buffer from sample buffer"));
    EXPECT_EQ(source->sampleBuffer(), picture);
    source->destroy();
    EXPECT_EQ(source->sampleBuffer(), nullptr);
    source->processFrame(picture);
    EXPECT_EQ(source->sampleBuffer(), picture);
    EXPECT_THAT(first->frames, ElementsAre(image));

    source->add(first);
    source->add(second);
    first->onFrame = [&source](VideoFrameSource&) { source.reset(); };
    second->onFrame = [](VideoFrameSource& dropped) { dropped.destroy(); };
    source->processFrame(picture);
    EXPECT_THAT(second->frames, ElementsAre(image));
}

}  // namespace
}  // namespace ondrix
