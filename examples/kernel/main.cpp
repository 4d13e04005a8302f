// Runs one GPU function alone, without a Device or an effect: it compares two PNG or JPEG files of the same size, once
// for each tolerance from 0 to 3 levels, and prints how many pixels differ. Functions.cpp is the function.
//
//     example-kernel before.png after.png
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

#include <ondrix/conversion/MetalComputeCommandRunner.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>

#include "Settings.h"

using namespace ondrix;

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PICTURE PICTURE\n", argv[0]);
        return 2;
    }
    const auto device = MTLCreateSystemDefaultDevice();
    if (!device) return 1;
    std::shared_ptr<MTLTexture> pictures[2];
    for (int i = 0; i < 2; ++i) {
        NSError error;
        pictures[i] = MTKTextureLoader(device).newTexture(URL(argv[1 + i]), {}, &error);
        if (!pictures[i]) {
            std::fprintf(stderr, "%s: %s\n", argv[1 + i], error.localizedDescription().c_str());
            return 1;
        }
    }
    const auto width = pictures[0]->width(), height = pictures[0]->height();
    if (pictures[1]->width() != width || pictures[1]->height() != height) {
        std::fprintf(stderr, "the pictures differ in size\n");
        return 1;
    }
    auto descriptor = MTLTextureDescriptor::texture2DDescriptor(MTLPixelFormat::r8Unorm, width, height, false);
    descriptor.usage = MTLTextureUsage::shaderWrite;
    const auto difference = device->makeTexture(descriptor);

    // From the library in this program's bundle. What fails from here on says why in the log.
    const auto kernel = MetalComputeCommandRunner::create(device, *NSBundle::mainBundle(), "Example::Difference");
    if (!difference || !kernel || !kernel->makeConstantBuffer(sizeof(Settings), 0)) return 1;
    std::vector<std::uint8_t> pixels(width * height);
    for (int levels = 0; levels <= 3; ++levels) {
        const Settings settings{(static_cast<float>(levels) + 0.5f) / 255};
        if (!kernel->updateConstantBuffer(&settings, sizeof settings, 0)) return 1;
        // Textures by slot, the size of the output, no samplers; returns when the GPU is done.
        if (!kernel->run({{0, pictures[0]}, {1, pictures[1]}, {2, difference}}, static_cast<Int>(width),
                         static_cast<Int>(height), nullptr, true))
            return 1;
        difference->getBytes(pixels.data(), width, MTLRegionMake2D(0, 0, width, height), 0);
        std::printf("%td pixels differ by more than %d\n", std::count(pixels.begin(), pixels.end(), 255), levels);
    }
}
