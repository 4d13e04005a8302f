// Windows over SDL's driver without a display, whose windows can still be read back and sent events.
#include <atomic>
#include <cstring>

#include <SDL2/SDL.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <stdlib.h>

#include <ondrix/Ondrix.h>
#include <ondrix/platform/foundation/NSRunLoop.h>
#include <ondrix/platform/os/mach_time.h>
#include <ondrix/platform/sdl/WindowView.h>

namespace ondrix {
namespace {

using Pixels = std::vector<std::uint32_t>;  // 0xAARRGGBB, at the four corners
using Sizes = std::vector<Size2<Int>>;

std::atomic<std::uint64_t> now = 1'000'000'000;  // nanoseconds

class WindowViewTest : public testing::Test {
protected:
    WindowViewTest() {
        setenv("SDL_VIDEODRIVER", "dummy", 1);
        os::setTickSource([] { return now.load(); });
    }
    ~WindowViewTest() override { os::setTickSource(nullptr); }

    /// A window of 77 x 50, whose rows have no even length. `newest` is SDL's side of it.
    std::shared_ptr<WindowView> open() {
        NSError error;
        auto window = WindowView::create("title", {77, 50}, device->mtlDevice(), &error);
        EXPECT_NE(window, nullptr) << error.localizedDescription();
        while (SDL_GetWindowFromID(newestID + 1) != nullptr) ++newestID;  // they are counted from 1
        newest = SDL_GetWindowFromID(newestID);
        return window;
    }
    static void refresh() {
        now += static_cast<std::uint64_t>(CADisplayLink::refreshInterval() * 1e9) + 1;
        NSRunLoop::main().runUntilIdle();
    }
    static void send(SDL_WindowEventID windowEvent, Uint32 id) {
        SDL_Event event{};
        event.type = SDL_WINDOWEVENT;
        event.window.windowID = id;
        event.window.event = static_cast<Uint8>(windowEvent);
        SDL_PushEvent(&event);
        refresh();
    }
    static void present(WindowView& view, const Pixels& pixels) {
        const auto drawable = view.currentDrawable();
        ASSERT_NE(drawable, nullptr);
        MTLTexture& texture = *drawable->texture();
        for (std::uint64_t i = 0; i < 4; ++i) {
            const auto corner = MTLRegionMake2D(i % 2 * (texture.width() - 1), i / 2 * (texture.height() - 1), 1, 1);
            texture.replace(corner, 0, &pixels[i], 4);
        }
        drawable->present();
    }
    /// What the window shows.
    Pixels shown() {
        int width = 0, height = 0;
        SDL_GetRendererOutputSize(SDL_GetRenderer(newest), &width, &height);
        Pixels pixels(4);
        for (int i = 0; i < 4; ++i) {
            const SDL_Rect corner{i % 2 * (width - 1), i / 2 * (height - 1), 1, 1};
            SDL_RenderReadPixels(SDL_GetRenderer(newest), &corner, SDL_PIXELFORMAT_ARGB8888, &pixels[i], 4);
        }
        return pixels;
    }

    Uint32 newestID = 0;
    SDL_Window* newest = nullptr;
    std::shared_ptr<Device> device = DeviceManager::shared().defaultDevice();
};

const Pixels first{0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffffff};
const Pixels second{0xff804020, 0xff102030, 0xffc0d0e0, 0xff000001};

// Exchanged channels, rows upside down or shifted, an older frame shown after a newer, frames that never come back so
// that drawables run out, a window that stays empty when it is uncovered.
TEST_F(WindowViewTest, ShowsTheNewestFrameOnceARefresh) {
    const auto window = open();
    for (int round = 0; round < 5; ++round) {
        present(*window, second);
        present(*window, first);
        refresh();
        EXPECT_EQ(shown(), first);
    }
    SDL_RenderClear(SDL_GetRenderer(newest));
    send(SDL_WINDOWEVENT_EXPOSED, newestID);
    EXPECT_EQ(shown(), first);
}

// A new size that isn't told, told as the old one, or told when drawables have it already.
TEST_F(WindowViewTest, TellsOfASizeBeforeDrawablesHaveIt) {
    struct Listener : TextureDelegate {
        void texture(Texture& texture, Size2<Int> didChangeSize) override {
            sizes.insert(sizes.end(), {didChangeSize, texture.size()});
        }
        Sizes sizes;
    };
    const auto window = open();
    const auto texture = device->makeRenderViewTexture(window);
    const auto listener = std::make_shared<Listener>();
    texture->add(listener);
    SDL_SetWindowSize(newest, 200, 100);
    refresh();
    EXPECT_EQ(listener->sizes, (Sizes{{200, 100}, {77, 50}}));
    EXPECT_EQ(texture->size(), (Size2<Int>{200, 100}));
    present(*window, first);
    refresh();
    EXPECT_EQ(shown(), first);
}

TEST_F(WindowViewTest, HasNoDrawableWhileNothingCanBeSeen) {
    const auto window = open();
    for (const auto& [away, back] : {std::pair{SDL_WINDOWEVENT_MINIMIZED, SDL_WINDOWEVENT_RESTORED},
                                     std::pair{SDL_WINDOWEVENT_HIDDEN, SDL_WINDOWEVENT_SHOWN}}) {
        send(away, newestID);
        EXPECT_EQ(window->currentDrawable(), nullptr);
        send(back, newestID);
        EXPECT_NE(window->currentDrawable(), nullptr);
    }
    send(SDL_WINDOWEVENT_CLOSE, newestID);
    EXPECT_EQ(window->currentDrawable(), nullptr);
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
    SDL_Event event{};
    for (const SDL_Keycode key : {SDLK_LEFT, SDLK_RIGHT, SDLK_q, SDLK_UP, SDLK_DOWN, SDLK_ESCAPE}) {
        event.type = SDL_KEYDOWN;
        event.key.windowID = newestID;
        event.key.keysym.sym = key;
        SDL_PushEvent(&event);
    }
    event.type = SDL_TEXTINPUT;
    event.text.windowID = newestID;
    std::strcpy(event.text.text, "q \xc3\xa4");
    SDL_PushEvent(&event);
    refresh();
    EXPECT_EQ(text, "q ");
    using enum WindowKey;
    EXPECT_EQ(keys, (std::vector{left, right, up, down, escape}));
}

// A window used after its own event let go of it; SDL ended with the first window, or never; Ctrl-C taken over.
TEST_F(WindowViewTest, MayGoInItsOwnEvent) {
    auto window = open();
    auto other = open();
    window->setEvents({[&] { window = nullptr; }, {}, {}});
    send(SDL_WINDOWEVENT_CLOSE, newestID - 1);
    EXPECT_EQ(window, nullptr);
    EXPECT_NE(other->currentDrawable(), nullptr);
    struct sigaction action {};
    sigaction(SIGINT, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    other = nullptr;
    EXPECT_EQ(SDL_WasInit(SDL_INIT_VIDEO), 0U);
}

TEST_F(WindowViewTest, SaysWhyThereIsNone) {
    setenv("SDL_VIDEODRIVER", "none-such", 1);
    NSError error;
    EXPECT_EQ(WindowView::create("title", {64, 48}, device->mtlDevice(), &error), nullptr);
    EXPECT_THAT(error.localizedDescription(), testing::HasSubstr("none-such"));
}

}  // namespace
}  // namespace ondrix
