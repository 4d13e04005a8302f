#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/metalkit/MTKView.h>

namespace ondrix {

/// A view without a display, for servers and tests: it behaves as a window does, and what it shows can be read. For the
/// main thread; frames are presented from any.
class HeadlessView : public MTKView {
public:
    /// Sides in pixels, fractions allowed: drawables have the whole ones.
    [[nodiscard]] static std::shared_ptr<HeadlessView> create(CGSize drawableSize, std::shared_ptr<MTLDevice> device);

    /// As when the user resizes a window: tells the delegate, then hands out drawables of the new size. A size that it
    /// already has does nothing.
    virtual void setDrawableSize(CGSize size) = 0;
    /// As when the user minimises a window and brings it back: there is no drawable meanwhile.
    virtual void setMinimised(bool minimised) = 0;

    /// The frame that is shown now, in BGRA, complete; null before the first.
    [[nodiscard]] virtual std::shared_ptr<CVPixelBuffer> shownFrame() const = 0;
    [[nodiscard]] virtual std::int64_t shownFrameCount() const = 0;
};

}  // namespace ondrix
