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

void Presentation::encode(MTLCommandBuffer& commandBuffer) {
    if (place_ == nullptr) {
        place_ = orFail(file_, [&](NSError* error) {
            return PlaceTexturePass::create(input_->device(), input_, output_, outputPixelFormat_, options_.mode,
                                            options_.rotation, options_.flip, error);
        });
    }
    orFail(file_, [&](NSError* error) { return place_->encode(commandBuffer, error); });
}

}  // namespace ondrix::tools
