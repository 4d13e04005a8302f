#include "Presentation.h"

#include <utility>

namespace ondrix::tools {

Presentation::Presentation(std::shared_ptr<Texture> input, std::shared_ptr<Texture> output,
                           MTLPixelFormat outputPixelFormat, PresentationOptions options, std::string file)
    : input_(std::move(input)),
      output_(std::move(output)),
      outputPixelFormat_(outputPixelFormat),
      options_(options),
      file_(std::move(file)) {}

void Presentation::draw(std::shared_ptr<MTLDrawable> drawable) {
    if (place_ == nullptr) {
        place_ = orFail(file_, [&](NSError* error) {
            return PlaceTextureEffect::create(input_->device(), input_, output_, outputPixelFormat_, options_.mode,
                                              options_.rotation, options_.flip, error);
        });
    }
    runToEnd(*place_, file_, std::move(drawable));
}

}  // namespace ondrix::tools
