// Runs a PNG or JPEG file through a function of this program's own shader library, which makes it brighter or darker,
// and saves the result as PNG. Functions.cpp is the function, Settings.h its constants.
//
//     example-still-shader photo.jpg brighter.png 1.5
#include <cstdio>
#include <cstdlib>

#include <ondrix/Ondrix.h>

#include "Settings.h"

using namespace ondrix;

static int fail(const char* what, const NSError& reason) {
    std::fprintf(stderr, "%s: %s\n", what, reason.localizedDescription().c_str());
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s PICTURE OUTPUT.png GAIN\n", argv[0]);
        return 2;
    }
    const auto device = DeviceManager::shared().defaultDevice();
    if (!device) return fail(argv[0], NSError("there is no device"));
    NSError error;
    const auto picture = device->makeTexture(URL(argv[1]), false, &error);
    if (!picture) return fail(argv[1], error);
    const auto library = device->makeDefaultShaderLibrary(&error);  // lies in this program's bundle
    const auto shader = library ? library->makeShader("Example::Gain", ShaderType::computeShader, &error) : nullptr;
    if (!shader) return fail("Example::Gain", error);

    const Settings settings{std::strtof(argv[3], nullptr)};
    const auto constants = device->makeConstantBuffer(&settings, sizeof settings, &error);
    const auto output = constants ? device->makeTexture(picture->size(), MTLPixelFormat::bgra8Unorm,
                                                        MTLTextureUsage::shaderWrite, &error)
                                  : nullptr;
    if (!output) return fail(argv[1], error);
    shader->setShaderResource(picture, 0);  // the slots are those of the function's parameters
    shader->setShaderResource(output, 1);
    shader->setShaderResource(constants, 0);

    const auto effect = Effect::create(device, &error);  // passes run in the order in which they are added
    const auto pass = effect ? ComputePass::create(device, shader, output, &error) : nullptr;
    if (!pass) return fail("Example::Gain", error);
    effect->add(pass, "gain");
    if (!effect->applyAndWait(&error)) return fail("Example::Gain", error);
    return savePicture(*output, argv[2], &error) ? 0 : fail(argv[2], error);
}
