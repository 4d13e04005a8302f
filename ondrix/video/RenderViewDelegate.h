#pragma once

#include <functional>

#include <ondrix/platform/metalkit/MTKView.h>

namespace ondrix {

/// Forwards the size changes of a view to a callback. The view holds it weakly.
class RenderViewDelegate : public MTKViewDelegate {
public:
    using Callback = std::function<void(MTKView& view, CGSize drawableSize)>;

    explicit RenderViewDelegate(Callback callback);

    void mtkView(MTKView& view, CGSize drawableSizeWillChange) override;
    /// Does nothing: the application decides when to draw.
    void draw(MTKView& in) override;

private:
    const Callback callback_;
};

}  // namespace ondrix
