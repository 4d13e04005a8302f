#pragma once

#include <memory>

#include <ondrix/frames/FrameColours.h>
#include <ondrix/platform/corevideo/CVPixelBufferPool.h>
#include <ondrix/platform/metal/MTLCommandQueue.h>
#include <ondrix/resources/Texture.h>

namespace ondrix {

class FrameFunction;
struct FrameLayout;

/// Turns textures into frames of a pixel format as part of the caller's command buffer: nothing is committed and
/// nothing waits. Frames state the writer's colours. Chroma is the mean around its place as the siting says; samples
/// are at most one from exact arithmetic.
///
/// Used from one thread at a time, each object from its own.
class FrameWriter {
public:
    /// For frames in BGRA, in grey (luma alone) or in any YCbCr format of CVPixelBuffer.h. The range is the format's
    /// where its name tells it; `colours` must be SDR with the primaries of BT.709, as textures are. Null, with
    /// the reason in `error` (may be null), for other ones and where the device makes no function for them.
    [[nodiscard]] static std::shared_ptr<FrameWriter> create(std::shared_ptr<Device> device, OSType pixelFormat,
                                                             const FrameColours& colours, NSError* error);
    ~FrameWriter();
    FrameWriter(const FrameWriter&) = delete;
    FrameWriter& operator=(const FrameWriter&) = delete;

    [[nodiscard]] OSType pixelFormat() const noexcept { return pixelFormat_; }
    [[nodiscard]] const FrameColours& colours() const noexcept { return colours_; }

    /// A frame of the picture's size from a pool of this object, for the last size only. It has its pixels once the
    /// command buffer ran, and is held until then. Null, with the reason in `error` (may be null), when that isn't
    /// possible; a command buffer that takes no more encoders may have luma alone in it then.
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> write(const Texture& picture, MTLCommandBuffer& commandBuffer,
                                                       NSError* error);
    /// The same into a frame of the caller's, which must have the format and the picture's size; what it stated before
    /// is replaced.
    [[nodiscard]] bool write(const Texture& picture, const std::shared_ptr<CVPixelBuffer>& frame,
                             MTLCommandBuffer& commandBuffer, NSError* error);

private:
    FrameWriter(std::shared_ptr<Device> device, OSType pixelFormat, const FrameColours& colours,
                const FrameLayout& layout);

    [[nodiscard]] bool start();
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> makeFrame(std::int64_t width, std::int64_t height);
    [[nodiscard]] bool encode(const std::shared_ptr<MTLTexture>& picture, const std::shared_ptr<CVPixelBuffer>& frame,
                              MTLCommandBuffer& commandBuffer);

    const std::shared_ptr<Device> device_;
    const OSType pixelFormat_;
    const FrameColours colours_;
    const std::unique_ptr<FrameLayout> layout_;
    std::unique_ptr<FrameFunction> luma_;    ///< or the copy of a picture
    std::unique_ptr<FrameFunction> chroma_;  ///< null for pictures and grey
    std::shared_ptr<CVPixelBufferPool> pool_;
    std::int64_t poolWidth_ = 0, poolHeight_ = 0;
};

}  // namespace ondrix
