#pragma once

#include <memory>
#include <string>

#include <ondrix/passes/PlaceTexturePass.h>
#include <ondrix/types/ContentMode.h>
#include <ondrix/types/ImageRotation.h>

#include "Session.h"

namespace ondrix::tools {

/// How a picture is placed in another: turned clockwise, then fitted, then mirrored.
struct PresentationOptions {
    ContentMode mode = ContentMode::scaleAspectFit;
    ImageRotation rotation = ImageRotation::degrees0;
    bool flip = false;

    /// Whether a picture looks the same in another one of its size.
    [[nodiscard]] bool changesNothing() const noexcept { return rotation == ImageRotation::degrees0 && !flip; }
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

    [[nodiscard]] const PresentationOptions& options() const noexcept { return options_; }
    /// Records the drawing of the input's present image.
    void encode(MTLCommandBuffer& commandBuffer);

private:
    std::shared_ptr<Texture> input_;
    std::shared_ptr<Texture> output_;
    MTLPixelFormat outputPixelFormat_;
    PresentationOptions options_;
    std::string file_;
    std::shared_ptr<Pass> place_;  ///< made by the first drawing
};

}  // namespace ondrix::tools
