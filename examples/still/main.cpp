#include <cstdio>

#include <ondrix/Ondrix.h>
using namespace ondrix;

int main(int argc, char** argv) {
    NSError error(argc == 2 ? "there is no device" : "usage: still PICTURE");
    constexpr auto format = MTLPixelFormat::bgra8Unorm;
    const auto device = DeviceManager::shared().defaultDevice();
    const auto photo = device && argc == 2 ? device->makeTexture(URL(argv[1]), false, &error) : nullptr;
    const auto output = photo ? device->makeTexture(320, 200, format, MTLTextureUsage::renderTarget, &error) : nullptr;
    const auto scale =
        output ? BlitEffect::create(device, photo, output, PassType::renderPass, format, &error) : nullptr;
    const auto pixels = scale && scale->applyAndWait(&error) ? readPixels(*output, &error) : std::nullopt;
    if (!pixels) {
        std::fprintf(stderr, "%s\n", error.localizedDescription().c_str());
        return 1;
    }
    const auto* bgra = reinterpret_cast<const unsigned char*>(pixels->bytes.data());
    std::printf("top left: red %d, green %d, blue %d\n", bgra[2], bgra[1], bgra[0]);
}
