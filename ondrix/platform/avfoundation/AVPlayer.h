#pragma once

#include <functional>
#include <memory>

#include <ondrix/platform/avfoundation/AVPlayerItem.h>

namespace ondrix {

/// Plays one item, which stands still at first. When the item ends it stands still on its last frame; `play()` then
/// starts again from the beginning, as does any rate above 0. The item stops when its player goes. For the main thread.
class AVPlayer {
public:
    [[nodiscard]] static std::shared_ptr<AVPlayer> create(std::shared_ptr<AVPlayerItem> playerItem);
    ~AVPlayer();
    AVPlayer(const AVPlayer&) = delete;
    AVPlayer& operator=(const AVPlayer&) = delete;

    [[nodiscard]] const std::shared_ptr<AVPlayerItem>& currentItem() const noexcept { return item_; }

    void play();   ///< at rate 1
    void pause();  ///< the same as a rate of 0
    /// 1 is the movie's own speed; below 0 is taken for 0.
    [[nodiscard]] double rate() const;
    void setRate(double rate);
    [[nodiscard]] CMTime currentTime() const;
    /// Held to the movie's range.
    void seek(CMTime to);

    /// Called on the main run loop whenever the item has played to its end; empty for nobody. Never called after the
    /// player is gone.
    void setOnEnd(std::function<void()> onEnd);

private:
    explicit AVPlayer(std::shared_ptr<AVPlayerItem> playerItem);

    void itemDidEnd();
    [[nodiscard]] bool isAtEnd() const;

    std::shared_ptr<AVPlayerItem> item_;
    std::shared_ptr<const std::function<void()>> onEnd_;  ///< null for nobody
    bool hasEnded_ = false;  ///< and wasn't moved since; movies may end before their duration
};

}  // namespace ondrix
