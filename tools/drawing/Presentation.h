#pragma once

#include <memory>
#include <string>

#include <ondrix/passes/PresentTextureEffect.h>
#include <ondrix/types/ContentMode.h>
#include <ondrix/types/ImageRotation.h>

#include "Session.h"

namespace ondrix::tools {

/// How a picture is placed in another: turned clockwise, then fitted, then mirrored.
struct PresentationOptions {
    ContentMode mode = ContentMode::scaleAspectFit;
    ImageRotation rotation = ImageRotation::degrees0;
    bool flip = false;

    /// Whether the turn exchanges width and height.
    [[nodiscard]] bool isQuarterTurn() const noexcept {
        return rotation == ImageRotation::degrees90 || rotation == ImageRotation::degrees270;
    }
};

/// Draws one texture into another, again and again, while both may change their sizes. A quarter turn never distorts
/// the picture unless the mode does. Failures are put down to `file`.
class Presentation {
public:
    /// The session and both textures are held. The input needs no image before the first drawing.
    Presentation(Session& session, std::shared_ptr<Texture> input, std::shared_ptr<Texture> output,
                 MTLPixelFormat outputPixelFormat, PresentationOptions options, std::string file);

    /// Draws the input's present image and waits for the end; then the device shows `drawable` if it isn't null.
    void draw(std::shared_ptr<MTLDrawable> drawable = nullptr);

private:
    /// Makes the effects at the first drawing, and gives the turned picture the input's size.
    void prepare();

    Session& session_;
    std::shared_ptr<Texture> input_;
    std::shared_ptr<Texture> output_;
    MTLPixelFormat outputPixelFormat_;
    PresentationOptions options_;
    std::string file_;
    /// The input after a quarter turn, for modes that compare sides; else null, as the effect that draws it.
    std::shared_ptr<Texture> turned_;
    std::shared_ptr<PresentTextureEffect> turn_;
    std::shared_ptr<PresentTextureEffect> place_;
};

}  // namespace ondrix::tools
