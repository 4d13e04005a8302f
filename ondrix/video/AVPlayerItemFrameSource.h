#pragma once

#include <memory>

#include <ondrix/base/MulticastDelegate.h>
#include <ondrix/platform/avfoundation/AVPlayerItem.h>
#include <ondrix/platform/avfoundation/AVPlayerItemVideoOutput.h>
#include <ondrix/platform/quartzcore/CADisplayLink.h>
#include <ondrix/video/VideoFrameSource.h>

namespace ondrix {

/// The frames of a player item as BGRA pixel buffers, or as it has them: at every refresh of the display the one for
/// the item's present time, if it is new. It runs from its construction, and its display link keeps it alive: it goes
/// only after `destroy()`, which the application must call. For the main thread, on whose run loop it delivers.
class AVPlayerItemFrameSource : public VideoFrameSource, public std::enable_shared_from_this<AVPlayerItemFrameSource> {
public:
    /// Attaches a video output to the item.
    [[nodiscard]] static std::shared_ptr<AVPlayerItemFrameSource> create(std::shared_ptr<AVPlayerItem> playerItem);
    /// With attributes of the output for which the item has frames; with none they come in the item's own format.
    [[nodiscard]] static std::shared_ptr<AVPlayerItemFrameSource> create(std::shared_ptr<AVPlayerItem> playerItem,
                                                                         CVAttributes pixelBufferAttributes);
    AVPlayerItemFrameSource(const AVPlayerItemFrameSource&) = delete;
    AVPlayerItemFrameSource& operator=(const AVPlayerItemFrameSource&) = delete;

    /// Forgets all listeners, stops for good and detaches the output from the item. A second call does nothing.
    void destroy() override;
    void add(const std::shared_ptr<VideoFrameSourceDelegate>& delegate) override;
    void remove(const VideoFrameSourceDelegate& delegate) override;

protected:
    explicit AVPlayerItemFrameSource(std::shared_ptr<AVPlayerItem> playerItem);
    AVPlayerItemFrameSource(std::shared_ptr<AVPlayerItem> playerItem, CVAttributes pixelBufferAttributes);
    /// The second half of construction: attaches the output and starts the display link.
    void start();

private:
    /// Called by the display link at every refresh.
    void displayLinkDidFire();

    std::shared_ptr<AVPlayerItem> playerItem_;
    std::shared_ptr<AVPlayerItemVideoOutput> videoOutput_;
    std::shared_ptr<CADisplayLink> displayLink_;  ///< null once destroyed
    MulticastDelegate<VideoFrameSourceDelegate> delegates_;
};

}  // namespace ondrix
