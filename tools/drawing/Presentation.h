#pragma once

#include <memory>
#include <string>

#include <ondrix/passes/PlaceTextureEffect.h>
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
    /// Both textures are held. The input needs no image before the first drawing.
    Presentation(std::shared_ptr<Texture> input, std::shared_ptr<Texture> output, MTLPixelFormat outputPixelFormat,
                 PresentationOptions options, std::string file);

    /// Draws the input's present image and waits for the end; then the device shows `drawable` if it isn't null.
    void draw(std::shared_ptr<MTLDrawable> drawable = nullptr);

private:
    std::shared_ptr<Texture> input_;
    std::shared_ptr<Texture> output_;
    MTLPixelFormat outputPixelFormat_;
    PresentationOptions options_;
    std::string file_;
    std::shared_ptr<PlaceTextureEffect> place_;  ///< made by the first drawing
};

}  // namespace ondrix::tools
