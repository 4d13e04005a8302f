// example-own-shader PICTURE GAIN: makes a picture brighter or darker and turns it upside down, both with functions of
// this program's own shader library, and prints the first pixel of the result.
#include <cstdio>
#include <cstdlib>

#include "GainPass.h"

using namespace ondrix;

int main(int argc, char** argv) {
    const auto device = DeviceManager::shared().defaultDevice();
    const auto picture = device && argc == 3 ? device->makeTexture(URL(argv[1]), false) : nullptr;
    const auto library = device ? device->makeDefaultShaderLibrary() : nullptr;  // lies in this program's bundle
    if (!picture || !library) return EXIT_FAILURE;

    constexpr auto format = MTLPixelFormat::bgra8Unorm;
    const auto brighter = device->makeTexture(picture->size(), format, MTLTextureUsage::unknown);
    const auto turned = device->makeTexture(picture->size(), format, MTLTextureUsage::unknown);
    const auto gain = GainPass::create(device, *library, picture, brighter);
    const auto shaders = library->makeShaders("Example::VS_Main", "Example::FS_Main");
    if (!gain || !shaders.vertex || !shaders.fragment) return EXIT_FAILURE;
    shaders.fragment->setShaderResource(brighter, 0);
    shaders.fragment->setShaderResource(
        device->makeSampler(MTLSamplerMinMagFilter::linear, MTLSamplerMinMagFilter::linear,
                            MTLSamplerAddressMode::clampToEdge, MTLSamplerAddressMode::clampToEdge, 1,
                            MTLSamplerBorderColor::transparentBlack),
        0);

    const auto effect = Effect::create(device);
    effect->add(gain, "gain");
    effect->add(RenderPass::create(device, shaders.vertex, shaders.fragment, device->defaultQuadMesh(), turned, format),
                "turn");
    effect->set("gain", std::strtof(argv[2], nullptr));  // reaches every pass that has this property
    effect->setShouldWaitForCompletion(true);
    if (!effect->apply(nullptr)) return EXIT_FAILURE;

    const auto converter = device->textureConverter();
    const auto pool = converter->makePixelBufferPool(turned->width(), turned->height(), kCVPixelFormatType_32BGRA);
    const auto pixels = converter->makePixelBuffer(*turned, *pool);
    CVPixelBufferLockBaseAddress(*pixels, kCVPixelBufferLock_ReadOnly);
    const auto* bgra = static_cast<const unsigned char*>(CVPixelBufferGetBaseAddress(*pixels));
    std::printf("top left: red %d, green %d, blue %d\n", bgra[2], bgra[1], bgra[0]);
    CVPixelBufferUnlockBaseAddress(*pixels, kCVPixelBufferLock_ReadOnly);
}
