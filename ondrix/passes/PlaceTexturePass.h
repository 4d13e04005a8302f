#pragma once

#include <memory>

#include <ondrix/passes/PresentTexturePass.h>

namespace ondrix {

/// A `PresentTexturePass` that turns first and scales then: the content mode compares the sides of the turned picture
/// with those of the output, so that fit and fill never distort. Without a quarter turn both passes draw the same.
class PlaceTexturePass : public PresentTexturePass {
public:
    /// Null, with the reason in `error` (may be null), when a part is missing or the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<PlaceTexturePass> create(std::shared_ptr<Device> device,
                                                                  std::shared_ptr<Texture> inputTexture,
                                                                  std::shared_ptr<Texture> outputTexture,
                                                                  MTLPixelFormat outputPixelFormat,
                                                                  ContentMode contentMode, ImageRotation rotation,
                                                                  bool flipHorizontally, NSError* error);

protected:
    using PresentTexturePass::PresentTexturePass;

    /// Mirror times scale times rotation.
    [[nodiscard]] simd_float4x4 transformMatrix() const override;

private:
    friend class PresentTexturePass;
};

}  // namespace ondrix
