// Windows over SDL's driver without a display, whose windows can still be read back and sent events.
#include <cstring>

#include <SDL2/SDL.h>
#include <signal.h>
#include <stdlib.h>
#include <tests/support/Frames.h>
#include <tests/support/ManualClock.h>

#include <ondrix/platform/sdl/WindowView.h>

namespace ondrix {
namespace {

using test::Picture;
using testing::ElementsAre;

class WindowViewTest : public testing::Test {
protected:
    WindowViewTest() { setenv("SDL_VIDEODRIVER", "dummy", 1); }

    /// A window of 77 x 50, whose rows have no even length. `newest` is SDL's side of it.
    std::shared_ptr<WindowView> open() {
        NSError error;
        auto window = WindowView::create("title", {77, 50}, device->mtlDevice(), &error);
        EXPECT_NE(window, nullptr) << error.localizedDescription();
        while (SDL_GetWindowFromID(newestID + 1) != nullptr) ++newestID;  // they are counted from 1
        newest = SDL_GetWindowFromID(newestID);
        return window;
    }
    void refresh() {
        clock.advance(CADisplayLink::refreshInterval() + 1e-9);
        NSRunLoop::main().runUntilIdle();
    }
    void send(SDL_WindowEventID windowEvent, Uint32 id) {
        SDL_Event event{SDL_WINDOWEVENT};
        event.window.windowID = id;
        event.window.event = static_cast<Uint8>(windowEvent);
        SDL_PushEvent(&event);
        refresh();
    }
    static void present(WindowView& view, const Picture& picture) {
        const auto drawable = view.currentDrawable();
        ASSERT_NE(drawable, nullptr);
        const auto all = MTLRegionMake2D(0, 0, drawable->texture()->width(), drawable->texture()->height());
        drawable->texture()->replace(all, 0, picture.bytes.data(), all.size.width * 4);
        drawable->present();
    }
    void expectShown(const Picture& expected) {
        Picture shown(expected.width, expected.height);
        const SDL_Rect all{0, 0, static_cast<int>(shown.width), static_cast<int>(shown.height)};
        SDL_RenderReadPixels(SDL_GetRenderer(newest), &all, SDL_PIXELFORMAT_BGRA32, shown.bytes.data(), all.w * 4);
        EXPECT_EQ(shown.bytes, expected.bytes);
    }

    test::ManualClock clock;
    Uint32 newestID = 0;
    SDL_Window* newest = nullptr;
    std::shared_ptr<Device> device = DeviceManager::shared().defaultDevice();
};

// Exchanged channels, rows upside down or shifted, an older frame after a newer, frames that never come back so that
// drawables run out, a window empty when it is uncovered, a size told as the old one or when drawables have it already.
TEST_F(WindowViewTest, ShowsTheNewestFrameOnceARefreshAndFollowsItsSize) {
    const auto window = open();
    const Picture picture = test::opaqueNoise(77, 50, 1), wide = test::opaqueNoise(200, 100, 2);
    for (int round = 0; round < 5; ++round) {
        present(*window, Picture(77, 50));
        present(*window, picture);
        refresh();
        expectShown(picture);
    }
    SDL_RenderClear(SDL_GetRenderer(newest));
    send(SDL_WINDOWEVENT_EXPOSED, newestID);
    expectShown(picture);

    const auto texture = device->makeRenderViewTexture(window);
    const auto listener = std::make_shared<test::SizeListener>();
    listener->onSize = [](Texture& changed) { EXPECT_EQ(changed.size(), (Size2<Int>{77, 50})); };
    texture->add(listener);
    SDL_SetWindowSize(newest, 200, 100);
    refresh();
    EXPECT_THAT(listener->events, ElementsAre("size 200x100"));
    present(*window, wide);
    refresh();
    expectShown(wide);
}

TEST_F(WindowViewTest, HasNoDrawableWhileNothingCanBeSeen) {
    const auto window = open();
    bool visible = true;
    for (const auto event : {SDL_WINDOWEVENT_MINIMIZED, SDL_WINDOWEVENT_RESTORED, SDL_WINDOWEVENT_HIDDEN,
                             SDL_WINDOWEVENT_SHOWN, SDL_WINDOWEVENT_CLOSE}) {
        send(event, newestID);
        visible = !visible;
        EXPECT_EQ(window->currentDrawable() != nullptr, visible) << event;
    }
    EXPECT_TRUE(window->isClosed());
}

// Keys that reach another window, and halves of a character that isn't ASCII.
TEST_F(WindowViewTest, TellsOfKeysAndCharacters) {
    const auto other = open();
    other->setEvents({{}, [](char) { FAIL(); }, [](WindowKey) { FAIL(); }});
    const auto window = open();
    std::string text;
    std::vector<WindowKey> keys;
    window->setEvents({{}, [&](char character) { text += character; }, [&](WindowKey key) { keys.push_back(key); }});
    for (const SDL_Keycode key : {SDLK_LEFT, SDLK_RIGHT, SDLK_q, SDLK_UP, SDLK_DOWN, SDLK_ESCAPE}) {
        SDL_Event event{SDL_KEYDOWN};
        event.key.windowID = newestID;
        event.key.keysym.sym = key;
        SDL_PushEvent(&event);
    }
    SDL_Event event{SDL_TEXTINPUT};
    event.text.windowID = newestID;
    std::strcpy(event.text.text, "q \xc3\xa4");
    SDL_PushEvent(&event);
    refresh();
    EXPECT_EQ(text, "q ");
    using enum WindowKey;
    EXPECT_THAT(keys, ElementsAre(left, right, up, down, escape));
}

// A window used after its own event let go of it; Ctrl-C taken over; SDL ended with the first window, or never, so that
// another driver isn't tried; a failure without a reason.
TEST_F(WindowViewTest, MayGoInItsOwnEventAndTheLastOneEndsSDL) {
    auto window = open(), other = open();
    window->setEvents({[&] { window = nullptr; }, {}, {}});
    send(SDL_WINDOWEVENT_CLOSE, newestID - 1);
    EXPECT_EQ(window, nullptr);
    EXPECT_NE(other->currentDrawable(), nullptr);
    struct sigaction action {};
    sigaction(SIGINT, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    other = nullptr;
    setenv("SDL_VIDEODRIVER", "none-such", 1);
    NSError error;
    EXPECT_EQ(WindowView::create("title", {64, 48}, device->mtlDevice(), &error), nullptr);
    EXPECT_THAT(error.localizedDescription(), testing::HasSubstr("none-such"));
}

}  // namespace
}  // namespace ondrix
