// Runs a PNG or JPEG file through the function in functions/starter.cpp and saves the result as PNG.
#include <cstdio>

#include <ondrix/Ondrix.h>

using namespace ondrix;

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PICTURE OUTPUT.png\n", argv[0]);
        return 2;
    }
    // What fails says why on standard error. With a pointer to an NSError at its end, a call tells you the reason
    // instead.
    const auto device = DeviceManager::shared().defaultDevice();
    const auto picture = device ? device->makeTexture(URL(argv[1]), false) : nullptr;
    const auto library = picture ? device->makeDefaultShaderLibrary() : nullptr;
    const auto shader = library ? library->makeShader("starter::Tone", ShaderType::computeShader) : nullptr;
    if (!shader) return 1;
    const auto output = device->makeTexture(picture->size(), MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    if (!output) return 1;

    shader->setShaderResource(picture, 0);  // the slots are those of the function's parameters
    shader->setShaderResource(output, 1);
    const auto effect = Effect::create(device);
    effect->add(ComputePass::create(device, shader, output), "tone");  // more passes run in the order of adding
    if (!effect->applyAndWait(nullptr)) return 1;

    NSError error;
    if (!savePicture(*output, argv[2], &error)) {
        std::fprintf(stderr, "%s: %s\n", argv[2], error.localizedDescription().c_str());
        return 1;
    }
}
