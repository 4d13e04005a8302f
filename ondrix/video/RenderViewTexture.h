#pragma once

#include <memory>

#include <ondrix/platform/metalkit/MTKView.h>
#include <ondrix/resources/Texture.h>

namespace ondrix {

class RenderViewDelegate;

/// A texture whose image is the current drawable of a view, so that an effect draws into the view; made by
/// `Device::makeRenderViewTexture`. It has no image while the view has no drawable: programs then skip the frame. It
/// neither holds the view nor decides when to draw, and whoever draws also presents the drawable. As the view's
/// delegate it tells its observers of each new size just before drawables have it, in whole pixels, fractions cut off;
/// of a size that no integer can hold, such as an infinite one, it tells nobody. `resize` doesn't change the view:
/// where it is asked for another size than the drawable's, the observers hear the drawable's. For the main thread.
class RenderViewTexture : public Texture {
public:
    /// Lets go of the view and removes the view's delegate; from then on there is no image. Observers stay.
    void prepareForRelease() override;

protected:
    explicit RenderViewTexture(std::shared_ptr<Device> device);
    /// The second half of construction: becomes the delegate of the view.
    void start(const std::shared_ptr<MTKView>& view);

    /// Asks the view at every call.
    [[nodiscard]] std::shared_ptr<MTLTexture> mtlTexture() const override;

private:
    friend class Device;

    void drawableSizeWillChange(CGSize size);

    std::weak_ptr<MTKView> renderView_;
    std::shared_ptr<RenderViewDelegate> renderViewDelegate_;  ///< kept for the view, which holds it weakly
};

}  // namespace ondrix
