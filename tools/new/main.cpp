// Runs a PNG or JPEG file through the function in functions/starter.cpp and saves the result as PPM.
#include <cstdio>
#include <fstream>

#include <ondrix/Ondrix.h>

using namespace ondrix;

namespace {

bool save(Texture& picture, const char* file) {
    const auto converter = picture.device()->textureConverter();
    const auto pool = converter->makePixelBufferPool(picture.width(), picture.height(), kCVPixelFormatType_32BGRA);
    const auto pixels = pool ? converter->makePixelBuffer(picture, *pool) : nullptr;  // waits for the work before it
    if (!pixels) return false;
    std::ofstream output(file, std::ios::binary);
    output << "P6 " << picture.width() << ' ' << picture.height() << " 255\n";
    CVPixelBufferLockBaseAddress(*pixels, kCVPixelBufferLock_ReadOnly);
    const auto* row = static_cast<const char*>(CVPixelBufferGetBaseAddress(*pixels));
    for (Int y = 0; y < picture.height(); ++y, row += CVPixelBufferGetBytesPerRow(*pixels)) {
        for (const char* bgra = row; bgra < row + 4 * picture.width(); bgra += 4)
            output.put(bgra[2]).put(bgra[1]).put(bgra[0]);
    }
    CVPixelBufferUnlockBaseAddress(*pixels, kCVPixelBufferLock_ReadOnly);
    return output.flush().good();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PICTURE OUTPUT.ppm\n", argv[0]);
        return 2;
    }
    // What fails says why on standard error.
    const auto device = DeviceManager::shared().defaultDevice();
    const auto picture = device ? device->makeTexture(URL(argv[1]), false) : nullptr;
    const auto library = picture ? device->makeDefaultShaderLibrary() : nullptr;
    const auto shader = library ? library->makeShader("starter::Tone", ShaderType::computeShader) : nullptr;
    if (!shader) return 1;
    const auto output = device->makeTexture(picture->size(), MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);

    shader->setShaderResource(picture, 0);  // the slots are those of the function's parameters
    shader->setShaderResource(output, 1);
    const auto effect = Effect::create(device);
    effect->add(ComputePass::create(device, shader, output), "tone");  // more passes run in the order of adding
    if (!effect->apply(nullptr)) return 1;

    if (!save(*output, argv[2])) {
        std::fprintf(stderr, "%s can't be written\n", argv[2]);
        return 1;
    }
}
