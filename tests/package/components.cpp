// Uses something of each component that is installed. Ends with 0 when the effects, where there are any, find the
// shader library that belongs to them.
#include <cstdio>

#include <ondrix/Ondrix.h>
#if __has_include(<ondrix/platform/ffmpeg/MovieReader.h>)
#include <ondrix/platform/ffmpeg/MovieReader.h>
#endif
#if __has_include(<ondrix/platform/sdl/WindowView.h>)
#include <ondrix/platform/sdl/WindowView.h>
#endif
#if __has_include(<ondrix/effects/EffectCatalog.h>)
#include <ondrix/effects/EffectCatalog.h>
#endif

using namespace ondrix;

int main() {
    int missing = 0;
    const auto device = DeviceManager::shared().defaultDevice();
    if (!device) return 1;
    NSError error;
#if __has_include(<ondrix/platform/ffmpeg/MovieReader.h>)
    missing += MovieReader::open(URL("/nowhere.mp4"), MovieFrameFormat::native, &error) != nullptr;
    std::printf("media: %s\n", error.localizedDescription().c_str());
#endif
#if __has_include(<ondrix/platform/sdl/WindowView.h>)
    const auto window =
        WindowView::create("components", {64, 64}, device->mtlDevice(), &error);  // there may be no desktop
    std::printf("window: %s\n", window ? "opened" : error.localizedDescription().c_str());
#endif
#if __has_include(<ondrix/effects/EffectCatalog.h>)
    missing += effects::makeEffectLibrary(*device) == nullptr || effects::allEffects().empty();
    std::printf("effects: %zu\n", effects::allEffects().size());
#endif
    return missing;
}
