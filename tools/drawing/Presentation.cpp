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
        if (turns)
            orFail(file_, [&](NSError* error) {
                return turned_->resize({turnedSize.width, turnedSize.height}, error);
            });
        return;
    }
    if (turns) {
        turned_ = session_.makeOutput(turnedSize, file_);
        turn_ = orFail(file_, [&](NSError* error) {
            return PresentTextureEffect::create(device, input_, turned_, MTLPixelFormat::bgra8Unorm,
                                                ContentMode::scaleToFill, options_.rotation, false, error);
        });
    }
    place_ = orFail(file_, [&](NSError* error) {
        return PresentTextureEffect::create(device, turns ? turned_ : input_, output_, outputPixelFormat_,
                                            options_.mode, turns ? ImageRotation::degrees0 : options_.rotation,
                                            options_.flip, error);
    });
}

void Presentation::draw(std::shared_ptr<MTLDrawable> drawable) {
    prepare();
    if (turn_ != nullptr) runToEnd(*turn_, file_);
    runToEnd(*place_, file_, std::move(drawable));
}

}  // namespace ondrix::tools
