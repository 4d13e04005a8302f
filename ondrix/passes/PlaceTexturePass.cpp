#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/passes/PassParts.h>
#include <ondrix/passes/PlaceTexturePass.h>

namespace ondrix {

std::shared_ptr<PlaceTexturePass> PlaceTexturePass::create(std::shared_ptr<Device> device,
                                                           std::shared_ptr<Texture> inputTexture,
                                                           std::shared_ptr<Texture> outputTexture,
                                                           MTLPixelFormat outputPixelFormat, ContentMode contentMode,
                                                           ImageRotation rotation, bool flipHorizontally,
                                                           NSError* error) {
    return Failure::toldTo(error, [&] {
        return make<PlaceTexturePass>(IfMissing::fail, std::move(device), std::move(inputTexture),
                                      std::move(outputTexture), outputPixelFormat, contentMode, rotation,
                                      flipHorizontally);
    });
}

simd_float4x4 PlaceTexturePass::transformMatrix() const {
    const bool isQuarterTurn = rotation_ == ImageRotation::degrees90 || rotation_ == ImageRotation::degrees270;
    const Size2<Int> turned = isQuarterTurn ? Size2<Int>(inputSize_.height(), inputSize_.width()) : inputSize_;
    const simd_float2 s = contentScale(contentMode_, turned, outputSize_);
    const auto [sine, cosine] = sineCosine(rotation_);
    const float flip = flipHorizontally_ ? -1.0f : 1.0f;
    return {{{flip * cosine * s.x, -sine * s.y, 0.0f, 0.0f},
             {flip * sine * s.x, cosine * s.y, 0.0f, 0.0f},
             {0.0f, 0.0f, 1.0f, 0.0f},
             {0.0f, 0.0f, 0.0f, 1.0f}}};
}

}  // namespace ondrix
