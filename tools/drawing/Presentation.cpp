#include "Presentation.h"

#include <utility>

namespace ondrix::tools {

Presentation::Presentation(Session& session, std::shared_ptr<Texture> input, std::shared_ptr<Texture> output,
                           MTLPixelFormat outputPixelFormat, PresentationOptions options, std::string file)
    : session_(session),
      input_(std::move(input)),
      output_(std::move(output)),
      outputPixelFormat_(outputPixelFormat),
      options_(options),
      file_(std::move(file)) {}

void Presentation::prepare() {
    const auto& device = input_->device();
    // The effect compares the sides as they are before the turn, so fit and fill need a picture that is turned already.
    const bool turns = options_.isQuarterTurn() && options_.mode != ContentMode::scaleToFill;
    const PictureSize turnedSize{input_->height(), input_->width()};
    if (place_ != nullptr) {
        if (turns && !turned_->resize(turnedSize.width, turnedSize.height))
            session_.fail(file_, "no memory for a picture of " + description(turnedSize));
        return;
    }
    if (turns) {
        turned_ = session_.makeOutput(turnedSize, file_);
        turn_ = PresentTextureEffect::create(device, input_, turned_, MTLPixelFormat::bgra8Unorm,
                                             ContentMode::scaleToFill, options_.rotation, false);
    }
    place_ = PresentTextureEffect::create(device, turns ? turned_ : input_, output_, outputPixelFormat_, options_.mode,
                                          turns ? ImageRotation::degrees0 : options_.rotation, options_.flip);
}

void Presentation::draw() {
    prepare();
    if (turn_ != nullptr) session_.run(*turn_, file_);
    session_.run(*place_, file_);
}

void Presentation::draw(std::shared_ptr<MTLDrawable> present) {
    prepare();
    place_->setShouldWaitForCompletion(true);
    if ((turn_ != nullptr && !turn_->apply(nullptr)) || !place_->apply(std::move(present)))
        session_.fail(file_, "the picture could not be drawn");
}

}  // namespace ondrix::tools
