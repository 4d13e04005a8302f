#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/passes/PassParts.h>
#include <ondrix/passes/ResizeTextureEffect.h>

namespace ondrix {

ResizeTextureEffect::ResizeTextureEffect(std::shared_ptr<Device> device, std::shared_ptr<MTLCommandQueue> commandQueue,
                                         std::shared_ptr<ResizeTexturePass> pass)
    : Effect(std::move(device), std::move(commandQueue)), pass_(std::move(pass)) {}

std::shared_ptr<ResizeTextureEffect> ResizeTextureEffect::create(std::shared_ptr<Device> device,
                                                                 std::shared_ptr<Texture> inputTexture,
                                                                 std::shared_ptr<Texture> outputTexture,
                                                                 ResizeFilter filter, NSError* error) {
    return Failure::toldTo(error, [&] {
        return ofReadyMadeParts([&]() -> std::shared_ptr<ResizeTextureEffect> {
            auto pass =
                ResizeTexturePass::create(device, std::move(inputTexture), std::move(outputTexture), filter, nullptr);
            if (pass == nullptr) return nullptr;
            auto commandQueue = makeCommandQueue(*device, IfMissing::fail);
            if (commandQueue == nullptr) return nullptr;
            std::shared_ptr<ResizeTextureEffect> effect(
                new ResizeTextureEffect(std::move(device), std::move(commandQueue), pass));
            effect->add(std::move(pass), "resize");
            return effect;
        });
    });
}

}  // namespace ondrix
