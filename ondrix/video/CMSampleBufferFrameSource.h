#pragma once

#include <memory>

#include <ondrix/base/MulticastDelegate.h>
#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/video/VideoFrameSource.h>

namespace ondrix {

/// Delivers the pictures of the sample buffers that the application gives it. It has no end of its own: after
/// `destroy()` it can still be fed, and delivers to listeners that are added then. Delivers on the caller's thread;
/// used from one thread at a time.
class CMSampleBufferFrameSource : public VideoFrameSource,
                                  public std::enable_shared_from_this<CMSampleBufferFrameSource> {
public:
    [[nodiscard]] static std::shared_ptr<CMSampleBufferFrameSource> create();
    CMSampleBufferFrameSource(const CMSampleBufferFrameSource&) = delete;
    CMSampleBufferFrameSource& operator=(const CMSampleBufferFrameSource&) = delete;

    /// The last one with a picture, also while that is being delivered, so that a listener can read its timing; null
    /// before the first and after `destroy()`.
    [[nodiscard]] virtual std::shared_ptr<CMSampleBuffer> sampleBuffer() const;

    void destroy() override;
    void add(const std::shared_ptr<VideoFrameSourceDelegate>& delegate) override;
    void remove(const VideoFrameSourceDelegate& delegate) override;

    /// Returns when every listener has returned. A sample buffer without a picture is left out, with a message.
    virtual void processFrame(std::shared_ptr<CMSampleBuffer> sampleBuffer);

protected:
    CMSampleBufferFrameSource() = default;

private:
    std::shared_ptr<CMSampleBuffer> sampleBuffer_;
    MulticastDelegate<VideoFrameSourceDelegate> delegates_;
};

}  // namespace ondrix
