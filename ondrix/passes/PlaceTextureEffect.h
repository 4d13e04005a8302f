#pragma once

#include <memory>

#include <ondrix/passes/PlaceTexturePass.h>
#include <ondrix/passes/PresentTextureEffect.h>

namespace ondrix {

/// A `PresentTextureEffect` whose pass is a `PlaceTexturePass` named "place": quarter turns never distort.
class PlaceTextureEffect : public PresentTextureEffect {
public:
    /// Null, with the reason in `error` (may be null), when a part is missing or the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<PlaceTextureEffect> create(std::shared_ptr<Device> device,
                                                                    std::shared_ptr<Texture> inputTexture,
                                                                    std::shared_ptr<Texture> outputTexture,
                                                                    MTLPixelFormat outputPixelFormat,
                                                                    ContentMode contentMode, ImageRotation rotation,
                                                                    bool flipHorizontally, NSError* error);

protected:
    using PresentTextureEffect::PresentTextureEffect;

private:
    friend class PresentTextureEffect;
};

}  // namespace ondrix
