// What lies between a movie and a picture: queues of frames, players, sample buffers, and the sources of frames.
#include <cstring>

#include <tests/support/Frames.h>
#include <tests/support/ManualClock.h>

#include <ondrix/platform/avfoundation/AVPlayer.h>

namespace ondrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr CMTime at(std::int64_t value, std::int32_t timescale = 30) {
    return {value, timescale, kCMTimeFlags_Valid, 0};
}

TEST(VideoOutputTest, HandsOutTheNewestDueFrameOnceAndDropsForItsItem) {
    const auto output = AVPlayerItemVideoOutput::create({});
    int spaceCount = 0;
    output->setOnSpace([&] { ++spaceCount; });
    // A frame's time is its width.
    const auto append = [&](Int time) { return output->append(test::frame(time, 1), at(time)); };
    const auto copy = [&](CMTime time) {
        const bool hasNew = output->hasNewPixelBuffer(time);
        CMTime own{};
        const auto frame = output->copyPixelBuffer(time, &own);
        EXPECT_EQ(hasNew, frame != nullptr);
        EXPECT_EQ(own.value, frame ? CVPixelBufferGetWidth(*frame) : 0);
        return own.value;
    };
    for (const int time : {10, 20, 30, 40}) EXPECT_TRUE(append(time));
    EXPECT_FALSE(append(50)) << "it is full";
    EXPECT_EQ(copy(at(9)) + copy(kCMTimeInvalid), 0);
    EXPECT_EQ(copy(at(20)), 20) << "due at that very time";
    EXPECT_EQ(copy(at(29)), 0) << "nothing new";
    EXPECT_EQ(spaceCount, 1) << "only when something was taken";
    EXPECT_TRUE(append(50) && append(60)) << "the one before was dropped";

    output->dropFramesBefore(at(45));
    EXPECT_TRUE(append(70));
    EXPECT_EQ(copy(at(49)), 40) << "the frame on screen at that time stays";
    output->dropFramesBefore(at(90));
    EXPECT_EQ(copy(at(90)), 70) << "the last one stays, however late";
    EXPECT_TRUE(append(80));
    output->flush();
    EXPECT_EQ(copy(at(90)), 0);
    EXPECT_TRUE(append(5)) << "times may start again";
    EXPECT_EQ(spaceCount, 3) << "called for the consumer alone";
}

/// Stands where it is put, three seconds long.
struct Item : AVPlayerItem {
    CMTime currentTime() const override { return now; }
    CMTime duration() const override { return at(90); }
    CGSize presentationSize() const override { return {}; }
    void add(std::shared_ptr<AVPlayerItemVideoOutput> added) override { output = std::move(added); }
    void remove(const std::shared_ptr<AVPlayerItemVideoOutput>& removed) override { onRemove(removed); }
    void setRate(double rate) override { speed = rate; }
    double rate() const override { return speed; }
    void seek(CMTime to) override { seeks.push_back((now = to).value); }
    void setOnEnd(std::function<void()> callback) override { onEnd = std::move(callback); }
    void end(CMTime time) {
        now = time;
        speed = 0;
        const auto callback = onEnd;  // it may take itself away
        callback();
    }

    CMTime now = at(0);
    double speed = 0;
    std::vector<std::int64_t> seeks;
    std::function<void()> onEnd;
    std::shared_ptr<AVPlayerItemVideoOutput> output;
    std::function<void(std::shared_ptr<AVPlayerItemVideoOutput>)> onRemove = [](auto) {};
};

TEST(PlayerTest, PlaysFromTheBeginningAfterTheEndAndMayGoInItsEndCall) {
    const auto item = std::make_shared<Item>();
    auto player = AVPlayer::create(item);
    player->play();
    item->end(at(89));  // the last frame may end before the duration that the file claims
    EXPECT_THAT(item->seeks, IsEmpty());
    player->play();
    player->setRate(-2);
    EXPECT_EQ(item->speed, 0);
    EXPECT_THAT(item->seeks, ElementsAre(0));
    item->now = at(90);  // the end, of which nobody has heard yet
    player->setRate(2);
    EXPECT_EQ(item->speed, 2);
    item->end(at(90));
    player->seek(at(30));
    player->play();
    EXPECT_THAT(item->seeks, ElementsAre(0, 0, 30)) << "goes on where the user went";

    int ends = 0;
    player->setOnEnd([&] {
        ++ends;
        player.reset();
    });
    const auto late = item->onEnd;
    item->end(at(90));
    late();
    EXPECT_EQ(ends, 1) << "nobody is told any more";
    AVPlayer::create(item)->play();
    EXPECT_EQ(item->speed, 0) << "plays on without a player";
}

TEST(PlayerItemFrameSourceTest, TellsOnceOfTheNewestFrameThatIsDueUntilDestroy) {
    test::ManualClock clock;
    const test::LogCapture log;
    const auto item = std::make_shared<Item>();
    const auto listener = std::make_shared<test::FrameListener>();
    const std::weak_ptr source = AVPlayerItemFrameSource::create(item);
    ASSERT_FALSE(source.expired()) << "its link keeps it";
    source.lock()->add(listener);
    const auto decode = [&](std::int64_t time) {
        auto frame = test::frame(2, 2);
        EXPECT_TRUE(item->output->append(frame, at(time)));
        return frame;
    };
    const auto refresh = [&clock] {
        clock.advance(0.02);  // more than one interval
        NSRunLoop::main().runUntilIdle();
    };
    const auto format = item->output->pixelBufferAttributes().at(kCVPixelBufferPixelFormatTypeKey);
    EXPECT_EQ(std::get<std::int64_t>(format), 0x42475241);
    const auto first = decode(0);
    EXPECT_THAT(listener->frames, IsEmpty()) << "before the refresh";
    refresh();
    decode(1);
    const auto third = decode(2);
    decode(4);
    refresh();
    EXPECT_THAT(listener->frames, ElementsAre(first)) << "told again, or of what isn't due";
    item->now = at(3);
    refresh();
    EXPECT_THAT(listener->frames, ElementsAre(first, third));

    int removals = 0;
    item->now = at(5);
    item->onRemove = [&](const auto& output) {
        EXPECT_EQ(output, item->output);
        ++removals;
        source.lock()->destroy();
        source.lock()->add(listener);
        refresh();  // a frame is due
    };
    AVPlayerItemFrameSource& running = *source.lock();
    running.destroy();  // ends the last reference
    EXPECT_TRUE(source.expired());
    EXPECT_EQ(removals, 1) << "the second call did something";
    EXPECT_EQ(listener->frames.size(), 2u) << "the link goes before the output";
    EXPECT_THAT(log.messages(), IsEmpty());
}

std::shared_ptr<CMSampleBuffer> sound(Int count, const std::vector<CMSampleTimingInfo>& timing) {
    std::shared_ptr<CMSampleBuffer> buffer;
    EXPECT_EQ(CMSampleBufferCreateReady(nullptr, count, std::ssize(timing), timing.data(), &buffer), noErr);
    return buffer;
}

TEST(SampleBufferTest, RefusesADescriptionOfAnotherPicture) {
    const auto picture = test::frame(6, 4);
    const auto planes = test::frame(6, 4, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
    std::shared_ptr<CMFormatDescription> audio;
    ASSERT_EQ(CMFormatDescriptionCreate(kCMMediaType_Audio, kCVPixelFormatType_32BGRA, &audio), noErr);
    auto sample = test::sample(picture);
    for (const auto& other : {test::description(test::frame(4, 6)), test::description(planes), audio, {}}) {
        EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(picture, other, {}, &sample),
                  other ? kCMSampleBufferError_InvalidMediaFormat : kCMSampleBufferError_RequiredParameterMissing);
        EXPECT_EQ(sample, nullptr) << "what was there before stays";
    }
    EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(nullptr, test::description(picture), {}, &sample),
              kCMSampleBufferError_RequiredParameterMissing);
}

TEST(SampleBufferTest, GivesEachSampleItsTime) {
    const CMSampleTimingInfo first = {at(1, 30), at(10, 30), at(9, 30)};
    const CMSampleTimingInfo second = {at(1, 25), at(20, 30), kCMTimeInvalid};
    const auto expectLast = [](const CMSampleBuffer& sample, CMTime presentation, CMTime decode, CMTime total) {
        const Int count = CMSampleBufferGetNumSamples(sample);
        CMSampleTimingInfo timing;
        ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(sample, count - 1, &timing), noErr);
        EXPECT_EQ(CMTimeCompare(timing.presentationTimeStamp, presentation), 0);
        EXPECT_EQ(CMTimeCompare(timing.decodeTimeStamp, decode), 0);
        EXPECT_EQ(CMTimeCompare(CMSampleBufferGetDuration(sample), total), 0);
        for (const Int index : {Int{-1}, count})
            EXPECT_NE(CMSampleBufferGetSampleTimingInfo(sample, index, &timing), 0);
    };
    expectLast(*sound(2, {first, second}), at(20, 30), kCMTimeInvalid, at(11, 150));
    expectLast(*sound(1024, {first}), at(1033, 30), at(1032, 30), at(1024, 30));
    expectLast(*sound(4, {second}), at(118, 150), kCMTimeInvalid, at(4, 25));
    EXPECT_FALSE(CMTIME_IS_VALID(CMSampleBufferGetDuration(*sound(3, {}))));
    std::shared_ptr<CMSampleBuffer> none;
    for (const auto& [samples, count] : {std::pair{3, 2}, {1, 2}, {-1, -1}, {-1, 0}, {3, -1}}) {
        EXPECT_EQ(CMSampleBufferCreateReady(nullptr, samples, count, &first, &none),
                  kCMSampleBufferError_InvalidEntryCount);
    }
}

TEST(SampleBufferOutputTest, HasThePictureAndTheTimingOfTheFirstSampleOrSaysWhatFailed) {
    const auto device = DeviceManager::shared().defaultDevice();
    const auto converter = device->textureConverter();
    const CMSampleTimingInfo first = {at(1001, 30000), at(-7007, 30000), {5, 90000, 3, 2}};
    const auto pool = converter->makePixelBufferPool(20, 9, kCVPixelFormatType_32BGRA);
    const auto texture = test::textureOf(device, test::Picture::noise(16, 9, 1));
    auto image = converter->makePixelBuffer(*texture, *pool);
    auto made = converter->makeSampleBuffer(image, *sound(2, {first, {}}));
    CMSampleTimingInfo timing;
    ASSERT_EQ(CMSampleBufferGetSampleTimingInfo(*made, 0, &timing), noErr);
    EXPECT_EQ(std::memcmp(&timing, &first, sizeof timing), 0) << "not in the same timescale or with the same flags";
    EXPECT_EQ(CMSampleBufferGetImageBuffer(*made), image);
    EXPECT_TRUE(CMVideoFormatDescriptionMatchesImageBuffer(*CMSampleBufferGetFormatDescription(*made), *image));
    image.reset();
    made.reset();
    EXPECT_EQ(CVPixelBufferPoolGetLiveCount(*pool), 0) << "the picture doesn't return to its pool";

    const test::LogCapture log;
    image = test::frame(8, 6);
    for (const Int samples : {0, 3}) EXPECT_EQ(converter->makeSampleBuffer(image, *sound(samples, {})), nullptr);
    EXPECT_EQ(converter->makeSampleBuffer(nullptr, *test::sample(image)), nullptr);
    EXPECT_THAT(log.messages(),
                ElementsAre("Failed to get sample timing info: -12734", "Failed to get sample timing info: -12736",
                            "Failed to create CMVideoFormatDescription."));
}

TEST(SampleBufferFrameSourceTest, KeepsThePicturesSampleBufferAndCanBeFedAfterItsEnd) {
    auto source = CMSampleBufferFrameSource::create();
    const auto first = std::make_shared<test::FrameListener>(), second = std::make_shared<test::FrameListener>();
    const auto image = test::frame(2, 2);
    const auto picture = test::sample(image);
    source->add(first);
    first->onFrame = [&](VideoFrameSource&) { EXPECT_EQ(source->sampleBuffer(), picture) << "stored too late"; };
    source->processFrame(picture);
    const test::LogCapture log;
    source->processFrame(sound(1, {}));
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

    source = CMSampleBufferFrameSource::create();
    source->add(second);
    source->remove(*second);
    source->processFrame(picture);
    EXPECT_THAT(second->frames, ElementsAre(image)) << "after its removal";
}

}  // namespace
}  // namespace ondrix
