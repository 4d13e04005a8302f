#pragma once

#include <memory>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>

namespace ondrix {

class VideoFrameSource;

/// Hears of a source's new frames, on the thread that the source delivers on.
class VideoFrameSourceDelegate {
public:
    virtual ~VideoFrameSourceDelegate() = default;

    /// Called with each new frame. Who needs the pixel buffer after the call keeps it. The receiver may add and remove
    /// listeners, destroy the source and drop it; whoever else was listening still receives this frame.
    virtual void videoFrameSource(VideoFrameSource& source,
                                  const std::shared_ptr<CVPixelBuffer>& didReceiveNewVideoFrame) = 0;
};

}  // namespace ondrix
