// Fills a texture with a function of the program's own library, copies it with one of the framework's, and says whether
// every pixel arrived.
#include <cstdio>

#include <ondrix/Ondrix.h>

using namespace ondrix;

int main() {
    const auto device = DeviceManager::shared().defaultDevice();
    const auto library = device ? device->makeDefaultShaderLibrary() : nullptr;
    const auto shader = library ? library->makeShader("Consumer::Magenta", ShaderType::computeShader) : nullptr;
    if (!shader) return 1;
    const auto filled = device->makeTexture(70, 35, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    const auto copied = device->makeTexture(70, 35, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    shader->setShaderResource(filled, 1);
    const auto fill = Effect::create(device);
    fill->add(ComputePass::create(device, shader, filled), "fill");
    fill->apply(nullptr);
    BlitEffect::create(device, filled, copied, PassType::renderPass, MTLPixelFormat::bgra8Unorm)->apply(nullptr);

    const auto converter = device->textureConverter();
    const auto pixels =
        converter->makePixelBuffer(*copied, *converter->makePixelBufferPool(70, 35, kCVPixelFormatType_32BGRA));
    CVPixelBufferLockBaseAddress(*pixels, kCVPixelBufferLock_ReadOnly);
    int wrong = 0;
    for (int y = 0; y < 35; ++y) {
        const auto* row = static_cast<const unsigned char*>(CVPixelBufferGetBaseAddress(*pixels)) +
                          y * CVPixelBufferGetBytesPerRow(*pixels);
        for (int x = 0; x < 70; ++x) {
            const unsigned char* pixel = row + 4 * x;
            wrong += pixel[0] != 255 || pixel[1] != 0 || pixel[2] != 255 || pixel[3] != 0;
        }
    }
    std::printf("%d wrong pixels\n", wrong);
    return wrong == 0 ? 0 : 1;
}
