// Runs a PNG or JPEG file through a function of this program's own shader library, which makes it brighter or darker,
// and saves the result. Functions.cpp is the function, Settings.h its constants.
//
//     example-still-shader photo.jpg brighter.ppm 1.5
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <ondrix/Ondrix.h>

#include "Settings.h"

using namespace ondrix;

namespace {

// Writes the pixels of a texture to a file in the simplest of formats, PPM.
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
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s PICTURE OUTPUT.ppm GAIN\n", argv[0]);
        return 2;
    }
    // What fails says why in the log, which is standard error.
    const auto device = DeviceManager::shared().defaultDevice();
    const auto picture = device ? device->makeTexture(URL(argv[1]), false) : nullptr;
    const auto library = picture ? device->makeDefaultShaderLibrary() : nullptr;  // lies in this program's bundle
    const auto shader = library ? library->makeShader("Example::Gain", ShaderType::computeShader) : nullptr;
    if (!shader) return 1;
    const auto output = device->makeTexture(picture->size(), MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);

    const Settings settings{std::strtof(argv[3], nullptr)};
    shader->setShaderResource(picture, 0);  // the slots are those of the function's parameters
    shader->setShaderResource(output, 1);
    shader->setShaderResource(device->makeConstantBuffer(&settings, sizeof settings), 0);

    const auto effect = Effect::create(device);  // passes run in the order in which they are added
    effect->add(ComputePass::create(device, shader, output), "gain");
    if (!effect->apply(nullptr)) return 1;
    if (!save(*output, argv[2])) {
        std::fprintf(stderr, "%s can't be written\n", argv[2]);
        return 1;
    }
}
