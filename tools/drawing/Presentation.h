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

    /// Draws the input's present image and waits for the end; then the device shows `drawable` if it isn't null.
    void draw(std::shared_ptr<MTLDrawable> drawable = nullptr);

private:
    std::shared_ptr<Device> device_;
    std::shared_ptr<PlacementPass> pass_;
    std::string file_;
    std::shared_ptr<Effect> effect_;  ///< made by the first drawing
};

}  // namespace ondrix::tools
