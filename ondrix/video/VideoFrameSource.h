#pragma once

#include <memory>

#include <ondrix/video/VideoFrameSourceDelegate.h>

namespace ondrix {

/// Delivers decoded video frames as pixel buffers to its listeners. Listeners are held weakly and told in the order of
/// their registration; one that is already registered stays where it is. Used from the thread that it delivers on.
class VideoFrameSource {
public:
    virtual ~VideoFrameSource() = default;

    /// Ends the delivery and forgets all listeners.
    virtual void destroy() = 0;
    virtual void add(const std::shared_ptr<VideoFrameSourceDelegate>& delegate) = 0;
    virtual void remove(const VideoFrameSourceDelegate& delegate) = 0;
};

}  // namespace ondrix
