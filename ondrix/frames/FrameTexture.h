#pragma once

#include <memory>
#include <string>
#include <vector>

#include <ondrix/frames/FrameColours.h>
#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/metal/MTLCommandQueue.h>
#include <ondrix/resources/Texture.h>

namespace ondrix {

class FrameFunction;
struct FrameLayout;
struct FrameToneConstants;

/// A texture that shows one frame of a video after the other. Frames are converted to red, green and blue as part of
/// the caller's command buffer: nothing is committed and nothing waits. Each frame has an image of its own as long as a
/// command buffer needs it, so several frames may be on their way, and videos know nothing of each other.
///
/// It takes all formats of CVPixelBuffer.h. Chroma is interpolated to the places of luma as the siting says, and the
/// result is at most one level of 8 bits (one of 10 bits in a float image) from exact arithmetic. Images are SDR in
/// BT.709. Frames that are red, green and blue in it already aren't copied: the image is the frame's own memory. Other
/// primaries are brought there by way of light, what they can't show is cut off. HDR is shown as on a display whose
/// white has 203 cd/m2: the brightest of red, green and blue follows the curve of ITU-R BT.2390, the others keep their
/// share. HLG is taken as on a display of 1000 cd/m2.
///
/// Used from one thread at a time, each object from its own.
class FrameTexture : public Texture {
public:
    /// Images of frames that are converted have this format: bgra8Unorm, or a float format for what has more than 8
    /// bits. Null, with the reason in `error` (may be null), where the device makes no function for it.
    [[nodiscard]] static std::shared_ptr<FrameTexture> create(std::shared_ptr<Device> device,
                                                              MTLPixelFormat pixelFormat, NSError* error);
    ~FrameTexture() override;

    /// Makes the frame the image for everything that is encoded from now on, and tells the observers when its size is
    /// another one. The image has its pixels once the command buffer ran; the frame is held until then. False with the
    /// reason in `error` (may be null) when the frame can't be shown; nothing was encoded then, and the image is that
    /// of the frame before.
    [[nodiscard]] bool show(const std::shared_ptr<CVPixelBuffer>& frame, MTLCommandBuffer& commandBuffer,
                            NSError* error);

private:
    friend class VideoTexture;

    FrameTexture(std::shared_ptr<Device> device, MTLPixelFormat pixelFormat);

    [[nodiscard]] bool start();
    /// The function for frames of a layout; null, with a message, where it can't be made.
    [[nodiscard]] const FrameFunction* functionFor(const FrameLayout& layout, bool isWide);
    [[nodiscard]] std::shared_ptr<MTLTexture> convert(const std::shared_ptr<CVPixelBuffer>& frame,
                                                      MTLCommandBuffer& commandBuffer);
    /// One that nobody uses any more.
    [[nodiscard]] std::shared_ptr<MTLTexture> freeImage(std::uint64_t width, std::uint64_t height);
    /// Logs once that a frame states what isn't known.
    void checkAttachments(const CVPixelBuffer& frame);

    const MTLPixelFormat pixelFormat_;
    std::unique_ptr<FrameFunction> functions_[8];  ///< made when they are needed first
    std::unique_ptr<FrameToneConstants> tone_;     ///< for `toneColours_`; null until frames need it
    FrameColours toneColours_;
    std::vector<std::shared_ptr<MTLTexture>> images_;  ///< those made last, of a few sizes
    Size2<Int> size_{0, 0};                            ///< that the observers know
    std::string unknownText_;                          ///< that was logged
};

}  // namespace ondrix
