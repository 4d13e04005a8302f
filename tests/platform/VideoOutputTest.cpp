// The queue between a player item and its consumer, and the player over an item that does as it is told.
#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ondrix/platform/avfoundation/AVPlayer.h>

namespace ondrix {
namespace {

constexpr CMTime at(std::int64_t value) {
    return {value, 30, kCMTimeFlags_Valid, 0};
}

class VideoOutput : public testing::Test {
protected:
    VideoOutput() {
        output->setOnSpace([this] { ++spaceCount; });
    }
    /// Its time is its width.
    bool append(std::int64_t time) {
        std::shared_ptr<CVPixelBuffer> frame;
        EXPECT_EQ(CVPixelBufferCreate(time, 1, kCVPixelFormatType_32BGRA, nullptr, &frame), kCVReturnSuccess);
        return output->append(std::move(frame), at(time));
    }
    std::int64_t copy(CMTime time) {
        CMTime own = kCMTimeInvalid;
        const auto frame = output->copyPixelBuffer(time, &own);
        EXPECT_EQ(CMTimeCompare(own, frame ? at(CVPixelBufferGetWidth(*frame)) : kCMTimeInvalid), 0);
        return frame ? CVPixelBufferGetWidth(*frame) : 0;
    }

    const std::shared_ptr<AVPlayerItemVideoOutput> output = AVPlayerItemVideoOutput::create({});
    int spaceCount = 0;
};

TEST_F(VideoOutput, HandsOutTheNewestDueFrameOnce) {
    for (const int time : {10, 20, 30, 40}) EXPECT_TRUE(append(time));
    EXPECT_FALSE(append(50)) << "it is full";
    EXPECT_FALSE(output->hasNewPixelBuffer(at(9)) || output->hasNewPixelBuffer(kCMTimeInvalid));
    EXPECT_EQ(copy(at(9)), 0);
    EXPECT_TRUE(output->hasNewPixelBuffer(at(20)));
    EXPECT_EQ(copy(at(20)), 20) << "due at that very time";
    EXPECT_FALSE(output->hasNewPixelBuffer(at(29)));
    EXPECT_EQ(copy(at(29)), 0) << "nothing new";
    EXPECT_EQ(spaceCount, 1) << "only when something was taken";
    EXPECT_TRUE(append(50) && append(60)) << "the one before was dropped";
}

TEST_F(VideoOutput, DropsForItsItem) {
    for (const int time : {10, 20, 30}) EXPECT_TRUE(append(time));
    output->dropFramesBefore(at(25));
    EXPECT_EQ(copy(at(29)), 20) << "the frame on screen at that time stays";
    output->dropFramesBefore(at(90));
    EXPECT_EQ(copy(at(90)), 30) << "the last one stays, however late";
    EXPECT_TRUE(append(40));
    output->flush();
    EXPECT_FALSE(output->hasNewPixelBuffer(at(90)));
    EXPECT_TRUE(append(5)) << "times may start again";
    EXPECT_EQ(spaceCount, 2) << "called for the consumer alone";
}

struct Item : AVPlayerItem {
    CMTime currentTime() const override { return now; }
    CMTime duration() const override { return length; }
    CGSize presentationSize() const override { return {}; }
    void add(std::shared_ptr<AVPlayerItemVideoOutput>) override {}
    void remove(const std::shared_ptr<AVPlayerItemVideoOutput>&) override {}
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

    CMTime now = at(0), length = at(90);
    double speed = 0;
    std::vector<std::int64_t> seeks;
    std::function<void()> onEnd;
};

TEST(Player, PlaysFromTheBeginningAfterTheEnd) {
    const auto item = std::make_shared<Item>();
    const auto player = AVPlayer::create(item);
    player->play();
    item->end(at(89));  // the last frame may end before the duration that the file claims
    EXPECT_TRUE(item->seeks.empty());
    player->play();
    EXPECT_EQ(item->seeks, std::vector<std::int64_t>{0});
    player->setRate(-2);
    EXPECT_EQ(item->speed, 0);
    item->now = at(90);  // the end, of which nobody has heard yet
    player->setRate(2);
    EXPECT_EQ(item->speed, 2);
    item->end(at(90));
    player->seek(at(30));
    player->play();
    EXPECT_EQ(item->seeks, (std::vector<std::int64_t>{0, 0, 30})) << "goes on where the user went";
}

TEST(Player, MayGoInItsEndCallAndLeavesTheItemStill) {
    const auto item = std::make_shared<Item>();
    auto player = AVPlayer::create(item);
    int ends = 0;
    player->setOnEnd([&] {
        ++ends;
        player.reset();
    });
    const auto late = item->onEnd;
    item->end(at(90));
    EXPECT_EQ(player, nullptr);
    late();
    EXPECT_EQ(ends, 1) << "nobody is told any more";
    AVPlayer::create(item)->play();
    EXPECT_EQ(item->speed, 0);
}

}  // namespace
}  // namespace ondrix
