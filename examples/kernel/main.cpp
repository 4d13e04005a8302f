// Runs one GPU function alone, without a Device or an effect: it compares two PNG or JPEG files of the same size, once
// for each tolerance from 0 to 3 levels, and prints how many pixels differ. Functions.cpp is the function.
//
//     example-kernel before.png after.png
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <ondrix/conversion/MetalComputeCommandRunner.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>

#include "Settings.h"

using namespace ondrix;

static int fail(const char* what, const std::string& reason) {
    std::fprintf(stderr, "%s: %s\n", what, reason.c_str());
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PICTURE PICTURE\n", argv[0]);
        return 2;
    }
    const auto device = MTLCreateSystemDefaultDevice();
    if (!device) return fail(argv[0], "there is no device");
    NSError error;
    std::shared_ptr<MTLTexture> pictures[2];
    for (int i = 0; i < 2; ++i) {
        pictures[i] = MTKTextureLoader(device).newTexture(URL(argv[1 + i]), {}, &error);
        if (!pictures[i]) return fail(argv[1 + i], error.localizedDescription());
    }
    const auto width = pictures[0]->width(), height = pictures[0]->height();
    if (pictures[1]->width() != width || pictures[1]->height() != height)
        return fail(argv[2], "its size is not that of the other picture");
    auto descriptor = MTLTextureDescriptor::texture2DDescriptor(MTLPixelFormat::r8Unorm, width, height, false);
    descriptor.usage = MTLTextureUsage::shaderWrite;
    const auto difference = device->makeTexture(descriptor);
    if (!difference) return fail(argv[0], "there is no memory for a texture");

    // From the library in this program's bundle.
    const char* const function = "Example::Difference";
    const auto kernel = MetalComputeCommandRunner::create(device, *NSBundle::mainBundle(), function, &error);
    if (!kernel || !kernel->makeConstantBuffer(sizeof(Settings), 0, &error))
        return fail(function, error.localizedDescription());
    std::vector<std::uint8_t> pixels(width * height);
    for (int levels = 0; levels <= 3; ++levels) {
        const Settings settings{(static_cast<float>(levels) + 0.5f) / 255};
        // Textures by slot, the size of the output, no samplers; returns when the GPU is done.
        if (!kernel->updateConstantBuffer(&settings, sizeof settings, 0, &error) ||
            !kernel->run({{0, pictures[0]}, {1, pictures[1]}, {2, difference}}, static_cast<Int>(width),
                         static_cast<Int>(height), nullptr, true, &error))
            return fail(function, error.localizedDescription());
        difference->getBytes(pixels.data(), width, MTLRegionMake2D(0, 0, width, height), 0);
        std::printf("%td pixels differ by more than %d\n", std::count(pixels.begin(), pixels.end(), 255), levels);
    }
}
