// Shows a PNG or JPEG file in a window with a lens that moves across it, drawn at every refresh of the display by the
// functions in Functions.cpp, until a key is pressed. With a number it draws so many frames without a display and ends.
//
//     example-window photo.jpg [FRAMES]
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <ondrix/Ondrix.h>
#include <ondrix/platform/sdl/WindowView.h>

#include "Settings.h"
using namespace ondrix;

static int fail(const char* what, const NSError& reason) {
    std::fprintf(stderr, "%s: %s\n", what, reason.localizedDescription().c_str());
    return 1;
}

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: %s PICTURE [FRAMES]\n", argv[0]);
        return 2;
    }
    const auto device = DeviceManager::shared().defaultDevice();
    if (!device) return fail(argv[0], NSError("there is no device"));
    NSError error;
    const auto picture = device->makeTexture(URL(argv[1]), false, &error);
    if (!picture) return fail(argv[1], error);
    const auto library = device->makeDefaultShaderLibrary(&error);  // lies in this program's bundle
    const auto shaders = library ? library->makeShaders("Example::VS_Main", "Example::Lens", &error) : RenderShaders{};
    if (!shaders) return fail("Example::Lens", error);

    auto& loop = NSRunLoop::main();
    long frames = 0, frameLimit = argc == 3 ? std::atol(argv[2]) : 0;
    std::shared_ptr<MTKView> view;
    if (frameLimit > 0) {
        view = HeadlessView::create({640, 360}, device->mtlDevice());
    } else {
        const auto window = WindowView::create("Lens", {640, 360}, device->mtlDevice(), &error);
        if (!window) return fail("no window", error);
        window->setEvents({[&] { loop.stop(); }, [&](char) { loop.stop(); }, [&](WindowKey) { loop.stop(); }});
        view = window;
    }

    Settings settings{};
    const auto constants = device->makeConstantBuffer(&settings, sizeof settings, &error);
    constexpr auto filter = MTLSamplerMinMagFilter::linear;
    constexpr auto edge = MTLSamplerAddressMode::clampToEdge;
    const auto linear =
        device->makeSampler(filter, filter, edge, edge, 1, MTLSamplerBorderColor::transparentBlack, &error);
    const auto target = device->makeRenderViewTexture(view);  // what is drawn into it is the view's next frame
    const auto effect = Effect::create(device, &error);
    const auto pass = RenderPass::create(device, shaders.vertex, shaders.fragment, device->defaultQuadMesh(), target,
                                         view->colorPixelFormat(), &error);
    if (!constants || !linear || !effect || !pass) return fail("Example::Lens", error);
    shaders.fragment->setShaderResource(picture, 0);  // the slots are those of the function's parameters
    shaders.fragment->setShaderResource(linear, 0);
    shaders.fragment->setShaderResource(constants, 0);
    effect->add(pass, "lens");

    bool isDrawn = true;
    const auto link = CADisplayLink::create([&] {
        const auto drawable = view->currentDrawable();
        if (!drawable) return;  // such as while the window is minimised
        const float seconds = static_cast<float>(frames) / 60;
        settings = {0.5f + 0.3f * std::cos(seconds), 0.5f + 0.3f * std::sin(seconds)};
        constants->updateBufferContent(&settings, sizeof settings);
        // Waits, so that the constants can be changed for the next frame.
        isDrawn = effect->applyAndWait(drawable, &error);
        if (!isDrawn || ++frames == frameLimit) loop.stop();
    });
    link->add(loop);
    loop.run();
    link->invalidate();
    if (!isDrawn) return fail("Example::Lens", error);
    std::printf("%ld frames\n", frames);
}
