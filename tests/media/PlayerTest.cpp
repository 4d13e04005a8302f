#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Picture.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/platform/avfoundation/AVPlayer.h>
#include <ondrix/platform/ffmpeg/MoviePlayerItem.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>
#include <ondrix/platform/foundation/NSRunLoop.h>
#include <ondrix/platform/os/mach_time.h>

#include "MediaFile.h"

namespace ondrix::test {

namespace {

constexpr int frameCount = 50;
constexpr int step = 5;  ///< levels of grey from one frame to the next

/// A player of a movie of 2 s that begins at 3 s; each of its 50 frames has a grey of its own. Time stands still but
/// for what the test does.
class PlayerTest : public testing::Test {
protected:
    void SetUp() override {
        ticks = 5'000'000'000;
        previousSource = os::setTickSource([] { return ticks.load(); });
        writeMovie();
        item = MoviePlayerItem::create(movie(), nullptr);
        ASSERT_NE(item, nullptr);
        player = AVPlayer::create(item);
        player->setOnEnd([this] { ++ends; });
        output = makeOutput();
        item->add(output);
    }
    void TearDown() override {
        player.reset();
        item.reset();
        os::setTickSource(previousSource);
    }

    URL movie() const { return URL(folder.path() / "movie.mp4"); }
    void writeMovie() {
        MovieWriterSettings settings;
        settings.width = settings.height = 64;
        settings.timescale = 25;
        const auto writer = MovieWriter::create(movie(), settings, nullptr);
        for (int i = 0; i < frameCount; ++i) {
            const auto pixels = noise(64, 64, kCVPixelFormatType_32BGRA, 1);
            forEachElement(*pixels, 0, 4, [i](std::uint8_t* pixel, Int, Int) { std::fill_n(pixel, 4, i * step); });
            EXPECT_TRUE(writer->append(*frame(pixels, CMTimeMake(75 + i, 25), CMTimeMake(1, 25))));
        }
        EXPECT_TRUE(writer->finish());
    }
    static std::shared_ptr<AVPlayerItemVideoOutput> makeOutput(OSType format = kCVPixelFormatType_32BGRA) {
        return AVPlayerItemVideoOutput::create({{kCVPixelBufferPixelFormatTypeKey, std::int64_t{format}}});
    }
    static void advance(int milliseconds) { ticks += static_cast<std::uint64_t>(milliseconds) * 1'000'000; }
    /// False when it didn't happen in half a minute.
    template <class Condition>
    static bool waitFor(const Condition& condition) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > limit) return false;
            std::this_thread::yield();
        }
        return true;
    }
    /// Takes the frame for the current time, and checks its time; -1 when there is none.
    int take(AVPlayerItemVideoOutput& from) const {
        CMTime time;
        const auto pixels = from.copyPixelBuffer(item->currentTime(), &time);
        if (pixels == nullptr) return -1;
        CVPixelBufferLockBaseAddress(*pixels, kCVPixelBufferLock_ReadOnly);
        const int grey = *static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddress(*pixels));
        CVPixelBufferUnlockBaseAddress(*pixels, kCVPixelBufferLock_ReadOnly);
        const int index = (grey + step / 2) / step;
        EXPECT_EQ(CMTimeCompare(time, CMTimeMake(index, 25)), 0) << "frame " << index;
        return index;
    }
    /// The first frame that comes.
    int next(AVPlayerItemVideoOutput& from) const {
        int index = -1;
        EXPECT_TRUE(waitFor([&] { return (index = take(from)) >= 0; }));
        return index;
    }
    /// Expects that frame `index` comes, perhaps after earlier ones where decoding was late, and none after it.
    void expectShown(int index, AVPlayerItemVideoOutput& from) const {
        int shown = -1;
        while (shown < index) {
            const int one = next(from);
            ASSERT_GT(one, shown);
            shown = one;
        }
        EXPECT_EQ(shown, index);
        EXPECT_FALSE(from.hasNewPixelBuffer(item->currentTime()));
    }

    static inline std::atomic<std::uint64_t> ticks;
    LogCapture log;
    TemporaryFolder folder;
    os::TickSource previousSource = nullptr;
    std::shared_ptr<MoviePlayerItem> item;
    std::shared_ptr<AVPlayer> player;
    std::shared_ptr<AVPlayerItemVideoOutput> output;
    int ends = 0;
};

// Catches frames before their time, at the file's times in place of the movie's, or while the player stands still.
TEST_F(PlayerTest, ShowsFramesWhenTheyAreDue) {
    expectShown(0, *output);
    advance(1000);
    EXPECT_EQ(CMTimeCompare(player->currentTime(), kCMTimeZero), 0);
    EXPECT_FALSE(output->hasNewPixelBuffer(player->currentTime()));
    player->play();
    advance(39);
    EXPECT_FALSE(output->hasNewPixelBuffer(player->currentTime()));
    advance(1);
    expectShown(1, *output);
    advance(130);
    expectShown(4, *output);
    player->pause();
    advance(1000);
    EXPECT_FALSE(output->hasNewPixelBuffer(player->currentTime()));
    player->setRate(2.5);
    advance(40);  // from 0.17 s to 0.27 s
    expectShown(6, *output);
    player->setRate(-1);
    EXPECT_EQ(player->rate(), 0);
}

// Catches frames of before the jump, and a jump that lands beside the frame on screen.
TEST_F(PlayerTest, ShowsTheFrameThatItJumpsTo) {
    expectShown(0, *output);
    for (const bool isPlaying : {false, true}) {
        player->setRate(isPlaying ? 1 : 0);
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
    EXPECT_EQ(next(*output), frameCount - 1);
    EXPECT_EQ(CMTimeCompare(player->currentTime(), CMTimeMake(2, 1)), 0);
    for (int i = 0; i < 30; ++i) player->seek(CMTimeMake(i * 17 % frameCount, 25));
    EXPECT_EQ(next(*output), 29 * 17 % frameCount);
}

// Catches a notice that is lost, told twice or told off the main loop, and a movie that plays once only.
TEST_F(PlayerTest, TellsOfEachEndOnce) {
    for (const int expected : {1, 2}) {
        player->play();
        EXPECT_EQ(CMTimeCompare(player->currentTime(), kCMTimeZero), 0);
        advance(2100);
        expectShown(frameCount - 1, *output);
        EXPECT_EQ(CMTimeCompare(player->currentTime(), item->duration()), 0);
        EXPECT_EQ(player->rate(), 0);
        EXPECT_EQ(ends, expected - 1);
        NSRunLoop::main().runUntilIdle();
        advance(1000);
        (void)player->currentTime();
        NSRunLoop::main().runUntilIdle();
        EXPECT_EQ(ends, expected);
    }
}

// Catches an end that only whoever reads the time would notice.
TEST_F(PlayerTest, TellsOfAnEndThatNobodyLooksAt) {
    item->remove(output);
    player->play();
    advance(2100);
    EXPECT_TRUE(waitFor([this] {
        NSRunLoop::main().runUntilIdle();
        return ends > 0;
    }));
}

// Catches an output that holds up the others, and one that gets frames of before it came or after it went.
TEST_F(PlayerTest, ServesEveryOutputByItself) {
    player->play();
    advance(400);
    expectShown(10, *output);
    const auto late = makeOutput();
    item->add(late);
    expectShown(10, *late);
    for (int i = 11; i < 30; ++i) {  // `late` isn't emptied
        advance(40);
        expectShown(i, *output);
    }
    EXPECT_GE(next(*late), 29 - static_cast<int>(AVPlayerItemVideoOutput::capacity)) << "past frames are still there";
    item->remove(output);
    EXPECT_FALSE(output->hasNewPixelBuffer(item->duration()));
    advance(40);
    expectShown(30, *late);
    EXPECT_FALSE(output->hasNewPixelBuffer(item->duration()));
    const auto other = makeOutput(kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
    item->add(other);
    EXPECT_THAT(log.messages(), testing::Contains("A video output gets no frames: a player has them in 'BGRA' only."));
}

// Catches an item that can't go while its thread waits for room, and an output that calls it afterwards.
TEST_F(PlayerTest, GoesWhileItsOutputIsFull) {
    EXPECT_TRUE(waitFor([this] { return output->hasNewPixelBuffer(kCMTimeZero); }));
    player.reset();
    const std::weak_ptr<MoviePlayerItem> gone = item;
    item.reset();
    EXPECT_TRUE(gone.expired());
    EXPECT_NE(output->copyPixelBuffer(kCMTimeZero, nullptr), nullptr);
}

}  // namespace

}  // namespace ondrix::test
