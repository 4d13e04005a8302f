#include "Presentation.h"

#include <utility>

namespace ondrix::tools {

Presentation::Presentation(std::shared_ptr<Texture> input, std::shared_ptr<Texture> output,
                           MTLPixelFormat outputPixelFormat, PresentationOptions options, std::string file)
    : device_(input->device()),
      pass_(std::make_shared<PlacementPass>(std::move(input), std::move(output), outputPixelFormat, options)),
      file_(std::move(file)) {}

void Presentation::draw(std::shared_ptr<MTLDrawable> drawable) {
    if (effect_ == nullptr) {
        effect_ = orFail(file_, [&](NSError* error) { return Effect::create(device_, error); });
        effect_->add(pass_, "place");
    }
    runToEnd(*effect_, file_, std::move(drawable));
}

}  // namespace ondrix::tools
