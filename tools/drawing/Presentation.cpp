#include "Presentation.h"

#include <utility>

namespace ondrix::tools {

Presentation::Presentation(std::shared_ptr<Texture> input, std::shared_ptr<Texture> output,
                           MTLPixelFormat outputPixelFormat, PresentationOptions options, std::string file)
    : options_(options),
      pass_(std::move(input), std::move(output), outputPixelFormat, options),
      file_(std::move(file)) {}

void Presentation::encode(MTLCommandBuffer& commandBuffer) {
    orFail(file_, [&](NSError* error) { return pass_.encode(commandBuffer, error); });
}

}  // namespace ondrix::tools
