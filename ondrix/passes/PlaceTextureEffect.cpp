#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/passes/PassParts.h>
#include <ondrix/passes/PlaceTextureEffect.h>

namespace ondrix {

std::shared_ptr<PlaceTextureEffect> PlaceTextureEffect::create(std::shared_ptr<Device> device,
                                                               std::shared_ptr<Texture> inputTexture,
                                                               std::shared_ptr<Texture> outputTexture,
                                                               MTLPixelFormat outputPixelFormat,
                                                               ContentMode contentMode, ImageRotation rotation,
                                                               bool flipHorizontally, NSError* error) {
    return Failure::toldTo(error, [&] {
        return make<PlaceTextureEffect, PlaceTexturePass>("place", IfMissing::fail, std::move(device),
                                                          std::move(inputTexture), std::move(outputTexture),
                                                          outputPixelFormat, contentMode, rotation, flipHorizontally);
    });
}

}  // namespace ondrix
