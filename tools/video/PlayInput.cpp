#include "PlayInput.h"

#include <cmath>
#include <utility>

#include <ondrix/platform/avfoundation/AVPlayer.h>
#include <ondrix/platform/ffmpeg/LiveSource.h>
#include <ondrix/platform/ffmpeg/MoviePlayerItem.h>
#include <ondrix/video/AVPlayerItemFrameSource.h>
#include <ondrix/video/CMSampleBufferFrameSource.h>

#include "FrameInput.h"
#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

class MovieInput final : public PlayInput {
public:
    MovieInput(std::string name, std::shared_ptr<MoviePlayerItem> item)
        : name_(std::move(name)), item_(std::move(item)), player_(AVPlayer::create(item_)) {
        player_->setOnEnd([this] { hasEnded_ = true; });
    }

    [[nodiscard]] PictureSize size() const override {
        const CGSize size = player_->currentItem()->presentationSize();
        return {std::llround(size.width), std::llround(size.height)};
    }
    [[nodiscard]] std::shared_ptr<VideoFrameSource> frameSource() override {
        if (source_ == nullptr) source_ = AVPlayerItemFrameSource::create(player_->currentItem(), {});
        return source_;
    }
    void start() override { player_->play(); }
    void refresh() override {}

    void togglePause() override {
        hasEnded_ = false;
        player_->setRate(player_->rate() > 0 ? 0 : 1);
    }
    void seekBy(int seconds) override {
        hasEnded_ = false;
        player_->seek(CMTimeAdd(player_->currentTime(), CMTimeMake(seconds, 1)));
    }

    [[nodiscard]] bool hasEnded() const override { return hasEnded_; }
    [[nodiscard]] std::int64_t droppedFrameCount() const override { return 0; }
    void checkEnd() const override {
        if (const auto error = item_->error()) throw Failure(name_, error->localizedDescription());
    }

private:
    std::string name_;
    std::shared_ptr<MoviePlayerItem> item_;
    std::shared_ptr<AVPlayer> player_;
    std::shared_ptr<AVPlayerItemFrameSource> source_;  ///< runs from its making on, so made only when asked for
    bool hasEnded_ = false;
};

class LiveInput final : public PlayInput {
public:
    LiveInput(std::string name, std::shared_ptr<LiveSource> live) : name_(std::move(name)), live_(std::move(live)) {}

    [[nodiscard]] PictureSize size() const override {
        return {live_->information().width, live_->information().height};
    }
    [[nodiscard]] std::shared_ptr<VideoFrameSource> frameSource() override { return source_; }
    void start() override { isRunning_ = true; }
    void refresh() override {
        if (!isRunning_) return;
        if (auto frame = live_->copyNewestSampleBuffer()) source_->processFrame(std::move(frame));
    }

    void togglePause() override { isRunning_ = !isRunning_; }
    void seekBy(int) override {}

    [[nodiscard]] bool hasEnded() const override { return live_->isEnded(); }
    [[nodiscard]] std::int64_t droppedFrameCount() const override { return live_->droppedFrameCount(); }
    void checkEnd() const override {
        if (const auto error = live_->error()) throw Failure(name_, error->localizedDescription());
    }

private:
    std::string name_;
    std::shared_ptr<LiveSource> live_;
    std::shared_ptr<CMSampleBufferFrameSource> source_ = CMSampleBufferFrameSource::create();
    bool isRunning_ = false;
};

}  // namespace

std::unique_ptr<PlayInput> PlayInput::open(const std::string& name, const MovieOptions& options) {
    NSError error;
    if (LiveSource::isLiveName(name)) {
        if (auto live = LiveSource::open(name, MovieFrameFormat::decoded, &error))
            return std::make_unique<LiveInput>(name, std::move(live));
    } else if (auto item = MoviePlayerItem::create(URL(std::filesystem::path(name)), MovieFrameFormat::decoded, options,
                                                   &error)) {
        return std::make_unique<MovieInput>(name, std::move(item));
    }
    failToRead(name, options, error.localizedDescription());
}

}  // namespace ondrix::tools
