#pragma once

#include <functional>
#include <memory>

#include <ondrix/resources/Texture.h>
#include <ondrix/video/VideoFrameSource.h>

namespace ondrix {

class FrameTexture;

/// A texture whose image is the latest frame of a video frame source; made by `Device::makeVideoTexture`. It has no
/// image before the first frame. It holds its source, which it destroys when it gets another one; the source does not
/// hold it. Frames are taken on the source's delivery thread, and everything else is for that thread, too: what reads
/// the image, such as an effect, runs there or is kept apart by the application. A '420v' or '420f' frame makes it wait
/// for the GPU, and its image lasts only until the device's converter converts the next frame of this size, also one of
/// another video: use it before, copy it, or make a `Device` for each such video. A frame in BGRA isn't copied.
///
/// One with images of its own, made by `create`, shows frames as a `FrameTexture` does: of all
/// formats of CVPixelBuffer.h, by the colours that they state, chroma interpolated, HDR as SDR. It never waits: the
/// conversion is committed before the callback, so that work committed later sees the frame. An image keeps its pixels
/// as long as it is this texture's, or a command buffer needs it, whatever other videos of the device do.
class VideoTexture : public Texture, public VideoFrameSourceDelegate {
public:
    /// It may replace itself, change the source, and release or drop the texture.
    using FrameAvailable = std::function<void(VideoTexture&)>;

    /// One with images of its own, in this format if they are converted. Null, with the reason in `error` (may be
    /// null), when the device can't make what that takes.
    [[nodiscard]] static std::shared_ptr<VideoTexture> create(std::shared_ptr<Device> device,
                                                              MTLPixelFormat pixelFormat,
                                                              FrameAvailable onFrameAvailable, NSError* error);

    /// Called with this texture after each frame that became its image, and after the observers of its size; empty for
    /// nobody.
    [[nodiscard]] virtual FrameAvailable onFrameAvailable() const;
    virtual void setOnFrameAvailable(FrameAvailable onFrameAvailable);

    /// Destroys the source so far, even if it is this very one: one that can't start again then delivers no more
    /// frames. Listens to `frameSource` from now on.
    virtual void set(std::shared_ptr<VideoFrameSource> frameSource);
    /// Destroys the source, if there is one; the image stays.
    virtual void clearFrameSource();

    /// Makes the frame the image, tells the observers if its size differs from the frame before (the first is compared
    /// with 1 x 1), and calls the callback. A frame that can't be converted is left out, with a message. For sources.
    void videoFrameSource(VideoFrameSource& source,
                          const std::shared_ptr<CVPixelBuffer>& didReceiveNewVideoFrame) override;

    /// Drops the callback, the image, and the source, which it destroys; observers stay.
    void prepareForRelease() override;

protected:
    VideoTexture(std::shared_ptr<Device> device, FrameAvailable onFrameAvailable);

private:
    friend class Device;

    [[nodiscard]] static std::shared_ptr<FrameAvailable> shared(FrameAvailable callback);

    /// The frame in an image of its own, or in that of the device's converter; null, with a message.
    [[nodiscard]] std::shared_ptr<MTLTexture> show(const std::shared_ptr<CVPixelBuffer>& frame);
    [[nodiscard]] std::shared_ptr<MTLTexture> convert(const std::shared_ptr<CVPixelBuffer>& frame);

    std::shared_ptr<FrameTexture> frames_;              ///< null without images of its own
    std::shared_ptr<MTLCommandQueue> queue_;            ///< for them
    std::shared_ptr<FrameAvailable> onFrameAvailable_;  ///< null for nobody; shared with a call that is just running
    std::shared_ptr<VideoFrameSource> source_;
    Size2<Int> currSize_{1, 1};
};

}  // namespace ondrix
