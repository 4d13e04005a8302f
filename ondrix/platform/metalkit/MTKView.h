#pragma once

#include <memory>

#include <ondrix/platform/foundation/CGSize.h>
#include <ondrix/platform/metal/MTLDevice.h>
#include <ondrix/platform/metal/MTLPixelFormat.h>
#include <ondrix/platform/quartzcore/CAMetalDrawable.h>

namespace ondrix {

class MTKView;

/// Hears of a view's size. Held weakly by the view.
class MTKViewDelegate {
public:
    virtual ~MTKViewDelegate() = default;

    /// Called before the view hands out drawables of the new size, in pixels.
    virtual void mtkView(MTKView& view, CGSize drawableSizeWillChange) = 0;
    /// Called by `MTKView::draw`.
    virtual void draw(MTKView& in) = 0;
};

/// A view that shows what is drawn into its drawables. Everything is for the main thread; drawables are presented from
/// the device's threads.
class MTKView {
public:
    virtual ~MTKView() = default;

    [[nodiscard]] virtual std::shared_ptr<MTKViewDelegate> delegate() const = 0;
    virtual void setDelegate(const std::shared_ptr<MTKViewDelegate>& delegate) = 0;

    /// The device that drawables' textures are made on; without one there are no drawables.
    [[nodiscard]] virtual std::shared_ptr<MTLDevice> device() const = 0;
    virtual void setDevice(std::shared_ptr<MTLDevice> device) = 0;
    /// Of the drawables' textures.
    [[nodiscard]] virtual MTLPixelFormat colorPixelFormat() const = 0;

    /// Sides of the drawables in pixels; on a high-density display more than the view's sides on the desktop.
    [[nodiscard]] virtual CGSize drawableSize() const = 0;
    /// What to draw the next frame into: the same object until it is presented or work that presents it is committed,
    /// or the size changes. Null while nothing can be shown: without a device, while the view is minimised or has no
    /// area, once it is closed, and while every drawable is still on its way to the display.
    [[nodiscard]] virtual std::shared_ptr<CAMetalDrawable> currentDrawable() = 0;
    /// Asks the delegate to draw.
    virtual void draw() = 0;
};

}  // namespace ondrix
