#pragma once

#include <memory>
#include <string>

#include "PlacementPass.h"
#include "Session.h"

namespace ondrix::tools {

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
    PresentationOptions options_;
    PlacementPass pass_;
    std::string file_;
};

}  // namespace ondrix::tools
