// Shows a PNG or JPEG file in a window with a lens that moves across it, drawn at every refresh of the display by the
// functions in Functions.cpp, until a key is pressed. With a number it draws so many frames without a display and ends.
//
//     example-window photo.jpg [FRAMES]
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <ondrix/Ondrix.h>
#include <ondrix/platform/metalkit/HeadlessView.h>
#include <ondrix/platform/sdl/WindowView.h>

#include "Settings.h"
using namespace ondrix;

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: %s PICTURE [FRAMES]\n", argv[0]);
        return 2;
    }
    const auto device = DeviceManager::shared().defaultDevice();  // what fails says why in the log, standard error
    const auto picture = device ? device->makeTexture(URL(argv[1]), false) : nullptr;
    const auto library = picture ? device->makeDefaultShaderLibrary() : nullptr;  // lies in this program's bundle
    const auto shaders = library ? library->makeShaders("Example::VS_Main", "Example::Lens") : RenderShaders{};
    if (!shaders.vertex || !shaders.fragment) return 1;

    auto& loop = NSRunLoop::main();
    long frames = 0, frameLimit = argc == 3 ? std::atol(argv[2]) : 0;
    std::shared_ptr<MTKView> view;
    if (frameLimit > 0) {
        view = HeadlessView::create({640, 360}, device->mtlDevice());
    } else {
        NSError error;
        const auto window = WindowView::create("Lens", {640, 360}, device->mtlDevice(), &error);
        if (!window) {
            std::fprintf(stderr, "no window: %s\n", error.localizedDescription().c_str());
            return 1;
        }
        window->setEvents({[&] { loop.stop(); }, [&](char) { loop.stop(); }, [&](WindowKey) { loop.stop(); }});
        view = window;
    }

    Settings settings{};
    const auto constants = device->makeConstantBuffer(&settings, sizeof settings);
    constexpr auto linear = MTLSamplerMinMagFilter::linear;
    constexpr auto edge = MTLSamplerAddressMode::clampToEdge;
    shaders.fragment->setShaderResource(picture, 0);  // the slots are those of the function's parameters
    shaders.fragment->setShaderResource(
        device->makeSampler(linear, linear, edge, edge, 1, MTLSamplerBorderColor::transparentBlack), 0);
    shaders.fragment->setShaderResource(constants, 0);
    const auto target = device->makeRenderViewTexture(view);  // what is drawn into it is the view's next frame
    const auto effect = Effect::create(device);
    effect->add(RenderPass::create(device, shaders.vertex, shaders.fragment, device->defaultQuadMesh(), target,
                                   view->colorPixelFormat()),
                "lens");
    effect->setShouldWaitForCompletion(true);  // so that the constants can be changed for the next frame

    const auto link = CADisplayLink::create([&] {
        const auto drawable = view->currentDrawable();
        if (!drawable) return;  // such as while the window is minimised
        const float seconds = static_cast<float>(frames) / 60;
        settings = {0.5f + 0.3f * std::cos(seconds), 0.5f + 0.3f * std::sin(seconds)};
        constants->updateBufferContent(&settings, sizeof settings);
        if (!effect->apply(drawable) || ++frames == frameLimit) loop.stop();
    });
    link->add(loop);
    loop.run();
    link->invalidate();
    std::printf("%ld frames\n", frames);
}
