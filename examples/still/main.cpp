#include <cstdio>

#include <ondrix/Ondrix.h>
using namespace ondrix;

int main(int argc, char** argv) {
    const auto device = DeviceManager::shared().defaultDevice();
    const auto photo = device && argc == 2 ? device->makeTexture(URL(argv[1]), false) : nullptr;
    if (!photo) return 1;
    const auto output = device->makeTexture(320, 200, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    BlitEffect::create(device, photo, output, PassType::renderPass, MTLPixelFormat::bgra8Unorm)->apply(nullptr);
    const auto pool = device->textureConverter()->makePixelBufferPool(320, 200, kCVPixelFormatType_32BGRA);
    const auto pixels = device->textureConverter()->makePixelBuffer(*output, *pool);  // waits for the work before it
    CVPixelBufferLockBaseAddress(*pixels, kCVPixelBufferLock_ReadOnly);
    const auto* bgra = static_cast<const unsigned char*>(CVPixelBufferGetBaseAddress(*pixels));
    std::printf("top left: red %d, green %d, blue %d\n", bgra[2], bgra[1], bgra[0]);
}
