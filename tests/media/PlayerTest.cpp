#include <thread>

#include <tests/support/ManualClock.h>

#include <ondrix/platform/avfoundation/AVPlayer.h>
#include <ondrix/platform/ffmpeg/MoviePlayerItem.h>
#include <ondrix/platform/metalkit/HeadlessView.h>

#include "Frames.h"

namespace ondrix::test {
namespace {

/// A player of a movie of 50 frames in 2 s that begins at 3 s. Time stands still but for what the test does.
class PlayerTest : public MediaTest {
protected:
    void SetUp() override {
        const Clip clip = numbered("mpeg4", {1, 25}, evenTimes(50, 75), 2);
        item = MoviePlayerItem::create(URL(clip.write(path("movie.mov"))), nullptr);
        player = AVPlayer::create(item);
        player->setOnEnd([this] { ++ends; });
        item->add(output);
    }
    static std::shared_ptr<AVPlayerItemVideoOutput> makeOutput(OSType format = bgra) {
        return AVPlayerItemVideoOutput::create({{kCVPixelBufferPixelFormatTypeKey, std::int64_t{format}}});
    }
    /// The first frame that comes for the current time, whose own time is checked.
    int next(AVPlayerItemVideoOutput& from) const {
        CMTime time;
        std::shared_ptr<CVPixelBuffer> pixels;
        while ((pixels = from.copyPixelBuffer(item->currentTime(), &time)) == nullptr) std::this_thread::yield();
        const int index = numberIn(pixels);
        EXPECT_EQ(CMTimeCompare(time, CMTimeMake(index, 25)), 0) << "frame " << index;
        return index;
    }
    /// Expects that frame `index` comes, perhaps after earlier ones where decoding was late, and none after it.
    void expectShown(int index, AVPlayerItemVideoOutput& from) const {
        for (int shown = -1, previous = -1; shown != index; previous = shown) {
            shown = next(from);
            ASSERT_GT(shown, previous);
            ASSERT_LE(shown, index);
        }
        EXPECT_FALSE(from.hasNewPixelBuffer(item->currentTime()));
    }

    ManualClock clock;
    std::shared_ptr<AVPlayerItemVideoOutput> output = makeOutput();
    std::shared_ptr<MoviePlayerItem> item;
    std::shared_ptr<AVPlayer> player;
    int ends = 0;
};

// Frames before their time, at the file's times in place of the movie's, or while the player stands still.
TEST_F(PlayerTest, ShowsFramesWhenTheyAreDue) {
    expectShown(0, *output);
    clock.advance(1);
    EXPECT_FALSE(output->hasNewPixelBuffer(player->currentTime()));
    player->play();
    clock.advance(0.039);
    EXPECT_FALSE(output->hasNewPixelBuffer(player->currentTime()));
    clock.advance(0.001);
    expectShown(1, *output);
    clock.advance(0.13);
    expectShown(4, *output);
    player->pause();
    clock.advance(1);
    EXPECT_FALSE(output->hasNewPixelBuffer(player->currentTime()));
    player->setRate(2.5);
    clock.advance(0.04);  // from 0.17 s to 0.27 s
    expectShown(6, *output);
    player->setRate(-1);
    EXPECT_EQ(player->rate(), 0);
}

// Frames of before the jump, and a jump that lands beside the frame on screen.
TEST_F(PlayerTest, ShowsTheFrameThatItJumpsTo) {
    expectShown(0, *output);
    for (const float rate : {0.0f, 1.0f}) {
        player->setRate(rate);
        for (const int milliseconds : {1019, 1000, 999, 20, 1999, 0}) {
            player->seek(CMTimeMake(milliseconds, 1000));
            EXPECT_EQ(next(*output), milliseconds / 40) << milliseconds;
            EXPECT_EQ(CMTimeCompare(player->currentTime(), CMTimeMake(milliseconds, 1000)), 0);
        }
    }
    player->seek(CMTimeMake(-1, 1));
    EXPECT_EQ(next(*output), 0);
    player->pause();
    player->seek(kCMTimePositiveInfinity);
    EXPECT_EQ(next(*output), 49);
    EXPECT_EQ(CMTimeCompare(player->currentTime(), CMTimeMake(2, 1)), 0);
    for (int i = 0; i < 30; ++i) player->seek(CMTimeMake(i * 17 % 50, 25));
    EXPECT_EQ(next(*output), 29 * 17 % 50);
}

// A notice that is lost, twice, off the main loop or only for who reads the time; a movie that plays once only.
TEST_F(PlayerTest, TellsOfEachEndOnce) {
    for (const int expected : {1, 2}) {
        player->play();
        EXPECT_EQ(CMTimeCompare(player->currentTime(), kCMTimeZero), 0);
        clock.advance(2.1);
        expectShown(49, *output);
        EXPECT_EQ(CMTimeCompare(player->currentTime(), item->duration()), 0);
        EXPECT_EQ(player->rate(), 0);
        EXPECT_EQ(ends, expected - 1);
        NSRunLoop::main().runUntilIdle();
        clock.advance(1);
        (void)player->currentTime();
        NSRunLoop::main().runUntilIdle();
        EXPECT_EQ(ends, expected);
    }
    item->remove(output);
    player->play();
    clock.advance(2.1);
    while (ends < 3) NSRunLoop::main().runUntilIdle();  // though nobody reads the time
}

// An output that holds up the others, and one that gets frames of before it came or after it went.
TEST_F(PlayerTest, ServesEveryOutputByItself) {
    player->play();
    clock.advance(0.4);
    expectShown(10, *output);
    const auto late = makeOutput();
    item->add(late);
    expectShown(10, *late);
    for (int i = 11; i < 30; ++i) {  // `late` isn't emptied
        clock.advance(0.04);
        expectShown(i, *output);
    }
    EXPECT_GE(next(*late), 29 - static_cast<int>(AVPlayerItemVideoOutput::capacity)) << "past frames are still there";
    item->remove(output);
    EXPECT_FALSE(output->hasNewPixelBuffer(item->duration()));
    clock.advance(0.04);
    expectShown(30, *late);
    EXPECT_FALSE(output->hasNewPixelBuffer(item->duration()));
    item->add(makeOutput(v420));
    EXPECT_THAT(log.messages(), testing::Contains("A video output gets no frames: a player has them in 'BGRA' only."));
}

// An item that can't go while its thread waits for room, and an output that calls it afterwards.
TEST_F(PlayerTest, GoesWhileItsOutputIsFull) {
    while (!output->hasNewPixelBuffer(kCMTimeZero)) std::this_thread::yield();
    player.reset();
    const std::weak_ptr<MoviePlayerItem> gone = item;
    item.reset();
    EXPECT_TRUE(gone.expired());
    EXPECT_NE(output->copyPixelBuffer(kCMTimeZero, nullptr), nullptr);
}

// A race between those who operate an item: each sees the output that it added filled, and the item goes on.
TEST_F(PlayerTest, AnItemServesSeveralThreads) {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([this, thread] {
            for (int round = 0; round < 20; ++round) {
                const auto own = makeOutput();
                item->add(own);
                item->seek(CMTimeMake(round * 3 + thread, 50));
                item->setRate(thread);
                EXPECT_TRUE(CMTIME_IS_NUMERIC(item->currentTime()) && item->presentationSize().width == 64);
                while (!own->hasNewPixelBuffer(item->duration())) std::this_thread::yield();
                item->remove(own);
            }
        });
    }
    threads.clear();
    item->seek(CMTimeMake(1, 1));
    EXPECT_EQ(next(*output), 25);
}

// A race or a deadlock between the decoding thread, the device's threads and the main thread; a frame of a source that
// is gone, or of another size than the view's.
TEST_F(PlayerTest, SurvivesSeekingResizingAndDestroying) {
    const auto device = DeviceManager::shared().defaultDevice();
    const auto view = HeadlessView::create({64, 48}, device->mtlDevice());
    const auto video = device->makeVideoTexture(nullptr);
    const auto effect =
        PresentTextureEffect::create(device, video, device->makeRenderViewTexture(view), MTLPixelFormat::bgra8Unorm,
                                     ContentMode::scaleAspectFit, ImageRotation::degrees0, false);
    video->setOnFrameAvailable([&](VideoTexture&) {
        if (const auto drawable = view->currentDrawable()) effect->apply(drawable);
    });
    std::int64_t shownBefore = 0;
    for (int round = 0; round < 400 || view->shownFrameCount() < shownBefore + 5; ++round) {
        if (round < 400) {
            if (round % 67 == 0) {  // the item before it goes while it decodes
                item = MoviePlayerItem::create(URL(path("movie.mov")), nullptr);
                player = AVPlayer::create(item);
                video->set(AVPlayerItemFrameSource::create(item));
                player->play();
            }
            if (round % 7 == 0) player->seek(CMTimeMake(round % 60, 50));
            if (round % 5 == 0) view->setDrawableSize({40.0 + round % 30, 40});
            if (round % 11 == 0) player->setRate(round % 3);
            shownBefore = view->shownFrameCount();
        } else if (player->rate() == 0) {
            player->play();
        }
        clock.advance(1.0 / 60);
        NSRunLoop::main().runUntilIdle();
    }
    EXPECT_EQ(CVPixelBufferGetWidth(*view->shownFrame()), static_cast<Int>(view->drawableSize().width));
    video->prepareForRelease();
}

}  // namespace
}  // namespace ondrix::test
