#pragma once

#include <functional>
#include <memory>

#include <ondrix/platform/avfoundation/AVPlayerItemVideoOutput.h>
#include <ondrix/platform/coremedia/CMTime.h>
#include <ondrix/platform/foundation/CGSize.h>

namespace ondrix {

/// A movie on its way through a player: a position that runs with the media clock, and the frames for it, decoded ahead
/// into the outputs. Made by what can read movie files; operated by an `AVPlayer`. Safe to use from any thread.
class AVPlayerItem {
public:
    virtual ~AVPlayerItem() = default;

    /// Position in the movie, never outside it.
    [[nodiscard]] virtual CMTime currentTime() const = 0;
    /// Indefinite where it isn't known.
    [[nodiscard]] virtual CMTime duration() const = 0;
    /// Of an upright frame, in pixels.
    [[nodiscard]] virtual CGSize presentationSize() const = 0;

    virtual void add(std::shared_ptr<AVPlayerItemVideoOutput> output) = 0;
    virtual void remove(const std::shared_ptr<AVPlayerItemVideoOutput>& output) = 0;

    /// For the player. Movie seconds for one second of the clock; 0 stands still, below 0 is taken for 0.
    virtual void setRate(double rate) = 0;
    /// 0 again once the end is reached.
    [[nodiscard]] virtual double rate() const = 0;
    /// For the player. Jumps to `time`, held to the movie's range; the frame on screen at that time comes next, also
    /// while standing still.
    virtual void seek(CMTime to) = 0;
    /// For the player. Called once, on the main run loop, each time playback reaches the end; empty for nobody.
    virtual void setOnEnd(std::function<void()> onEnd) = 0;
};

}  // namespace ondrix
