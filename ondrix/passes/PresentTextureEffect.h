#pragma once

#include <memory>

#include <ondrix/passes/Effect.h>
#include <ondrix/passes/PresentTexturePass.h>
#include <ondrix/resources/Texture.h>
#include <ondrix/types/ContentMode.h>
#include <ondrix/types/ImageRotation.h>

namespace ondrix {

/// Shows a texture in another, such as that of a view, with a single `PresentTexturePass` named "present". Changes of
/// mode, rotation and mirroring are collected and reach the pass in `prepare`; a new input texture reaches it at once.
class PresentTextureEffect : public Effect {
public:
    /// `outputPixelFormat` is that of the output. Stops the process with a message when a part is missing;
    /// null, with a message, without memory.
    [[nodiscard]] static std::shared_ptr<PresentTextureEffect> create(
        std::shared_ptr<Device> device, std::shared_ptr<Texture> inputTexture, std::shared_ptr<Texture> outputTexture,
        MTLPixelFormat outputPixelFormat, ContentMode contentMode, ImageRotation rotation, bool flipHorizontally);
    /// Null, with the reason in `error` (may be null), when a part is missing or the pipeline can't be built.
    [[nodiscard]] static std::shared_ptr<PresentTextureEffect> create(std::shared_ptr<Device> device,
                                                                      std::shared_ptr<Texture> inputTexture,
                                                                      std::shared_ptr<Texture> outputTexture,
                                                                      MTLPixelFormat outputPixelFormat,
                                                                      ContentMode contentMode, ImageRotation rotation,
                                                                      bool flipHorizontally, NSError* error);

    [[nodiscard]] virtual ContentMode contentMode() const;
    virtual void setContentMode(ContentMode contentMode);
    [[nodiscard]] virtual ImageRotation rotation() const;
    virtual void setRotation(ImageRotation rotation);
    [[nodiscard]] virtual bool flipHorizontally() const;  ///< mirrored left to right, after the rotation
    virtual void setFlipHorizontally(bool flipHorizontally);
    [[nodiscard]] virtual std::shared_ptr<Texture> inputTexture() const;
    virtual void setInputTexture(std::shared_ptr<Texture> inputTexture);

    /// Hands changed settings to the pass. Always true.
    [[nodiscard]] bool prepare() override;

protected:
    /// Adding the pass is up to who constructs.
    PresentTextureEffect(std::shared_ptr<Device> device, std::shared_ptr<MTLCommandQueue> commandQueue,
                         std::shared_ptr<PresentTexturePass> pass, ContentMode contentMode, ImageRotation rotation,
                         bool flipHorizontally);

private:
    friend class PlaceTextureEffect;

    /// This effect with its pass, or those that place.
    template <class EffectClass, class PassClass>
    [[nodiscard]] static std::shared_ptr<EffectClass> make(const char* named, IfMissing ifMissing,
                                                           std::shared_ptr<Device> device,
                                                           std::shared_ptr<Texture> inputTexture,
                                                           std::shared_ptr<Texture> outputTexture,
                                                           MTLPixelFormat outputPixelFormat, ContentMode contentMode,
                                                           ImageRotation rotation, bool flipHorizontally);

    ContentMode contentMode_;
    ImageRotation rotation_;
    bool flipHorizontally_;
    bool shouldUpdateTransform_ = false;
    std::shared_ptr<PresentTexturePass> myPass_;
};

}  // namespace ondrix
