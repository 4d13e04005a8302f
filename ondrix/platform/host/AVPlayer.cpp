#include <cassert>
#include <utility>

#include <ondrix/platform/avfoundation/AVPlayer.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

AVPlayer::AVPlayer(std::shared_ptr<AVPlayerItem> playerItem) : item_(std::move(playerItem)) {}

std::shared_ptr<AVPlayer> AVPlayer::create(std::shared_ptr<AVPlayerItem> playerItem) {
    return os::orAbsent([&] {
        assert(playerItem != nullptr);
        std::shared_ptr<AVPlayer> player(new AVPlayer(std::move(playerItem)));
        player->item_->setOnEnd([weak = std::weak_ptr(player)] {
            if (const auto self = weak.lock()) self->itemDidEnd();
        });
        return player;
    });
}

AVPlayer::~AVPlayer() {
    item_->setOnEnd(nullptr);
    item_->setRate(0);
}

void AVPlayer::play() {
    setRate(1);
}

void AVPlayer::pause() {
    setRate(0);
}

double AVPlayer::rate() const {
    return item_->rate();
}

void AVPlayer::setRate(double rate) {
    if (!(rate > 0)) {
        item_->setRate(0);
        return;
    }
    if (isAtEnd()) seek(kCMTimeZero);
    item_->setRate(rate);
}

CMTime AVPlayer::currentTime() const {
    return item_->currentTime();
}

void AVPlayer::seek(CMTime to) {
    hasEnded_ = false;
    item_->seek(to);
}

void AVPlayer::setOnEnd(std::function<void()> onEnd) {
    os::orAbsent([&] { onEnd_ = onEnd ? std::make_shared<const std::function<void()>>(std::move(onEnd)) : nullptr; });
}

void AVPlayer::itemDidEnd() {
    hasEnded_ = item_->rate() == 0;  // otherwise it plays again already
    const auto onEnd = onEnd_;
    if (onEnd != nullptr) (*onEnd)();
}

bool AVPlayer::isAtEnd() const {
    const CMTime duration = item_->duration();
    return hasEnded_ || (CMTIME_IS_NUMERIC(duration) && CMTimeCompare(item_->currentTime(), duration) >= 0);
}

}  // namespace ondrix
