#include <utility>
#include <vector>

#include <SDL2/SDL.h>

#include <ondrix/platform/sdl/WindowSystem.h>

namespace ondrix::sdl {

namespace {

/// The window that an event is for; 0, which no window has, for events that are for none.
std::uint32_t windowID(const SDL_Event& event) {
    switch (event.type) {
        case SDL_WINDOWEVENT:
            return event.window.windowID;
        case SDL_KEYDOWN:
            return event.key.windowID;
        case SDL_TEXTINPUT:
            return event.text.windowID;
        default:
            return 0;
    }
}

}  // namespace

std::shared_ptr<WindowSystem> WindowSystem::open(std::string& reason) {
    static std::weak_ptr<WindowSystem> current;
    if (auto system = current.lock()) return system;

    // Interruptions and the program's entry stay the application's.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetMainReady();
    // The desktops only, not SDL's drivers that show nothing; the user's choice in SDL_VIDEODRIVER counts for more.
    // Without its folder for sockets, Wayland would complain on standard error.
    SDL_SetHint(SDL_HINT_VIDEODRIVER, SDL_getenv("XDG_RUNTIME_DIR") != nullptr ? "x11,wayland" : "x11");
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
        reason = SDL_GetError();
        return nullptr;
    }
    std::shared_ptr<WindowSystem> system(new WindowSystem);
    system->start();
    current = system;
    return system;
}

WindowSystem::~WindowSystem() {
    if (displayLink_ != nullptr) displayLink_->invalidate();
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    if (SDL_WasInit(0) == 0) SDL_Quit();  // nobody else uses SDL, so what its parts share goes too
}

void WindowSystem::start() {
    SDL_StartTextInput();
    displayLink_ = CADisplayLink::create([weakSelf = weak_from_this()] {
        if (const auto self = weakSelf.lock()) self->refresh();
    });
    displayLink_->add(NSRunLoop::main());
}

void WindowSystem::add(std::uint32_t windowID, std::weak_ptr<WindowEventHandler> window) {
    windows_[windowID] = std::move(window);
}

void WindowSystem::remove(std::uint32_t windowID) {
    windows_.erase(windowID);
}

// What a window tells of may make or destroy windows, so each is held while it works.

void WindowSystem::refresh() {
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) {
        if (const auto window = find(windowID(event))) window->handle(event);
    }
    std::vector<std::shared_ptr<WindowEventHandler>> windows;
    for (const auto& [id, window] : windows_) windows.push_back(window.lock());
    for (const auto& window : windows) {
        if (window != nullptr) window->refresh();
    }
}

std::shared_ptr<WindowEventHandler> WindowSystem::find(std::uint32_t windowID) const {
    const auto found = windows_.find(windowID);
    return found != windows_.end() ? found->second.lock() : nullptr;
}

}  // namespace ondrix::sdl
