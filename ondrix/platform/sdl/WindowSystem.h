#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <SDL2/SDL_events.h>

#include <ondrix/platform/quartzcore/CADisplayLink.h>

namespace ondrix::sdl {

/// A window as far as the window system deals with it. For the main thread.
class WindowEventHandler {
public:
    virtual ~WindowEventHandler() = default;

    virtual void handle(const SDL_Event& event) = 0;
    /// Called at every refresh, after the events.
    virtual void refresh() = 0;
};

/// The use of SDL's windows by this process: begun with the first window and ended with the last. At every refresh of
/// the display, on the main run loop, it hands the events that came to their windows. For the main thread.
class WindowSystem : public std::enable_shared_from_this<WindowSystem> {
public:
    /// The one that there is, or a new one. Null, with SDL's reason, where there is no display.
    [[nodiscard]] static std::shared_ptr<WindowSystem> open(std::string& reason);
    ~WindowSystem();
    WindowSystem(const WindowSystem&) = delete;
    WindowSystem& operator=(const WindowSystem&) = delete;

    void add(std::uint32_t windowID, std::weak_ptr<WindowEventHandler> window);
    void remove(std::uint32_t windowID);

private:
    WindowSystem() = default;

    void start();
    void refresh();
    [[nodiscard]] std::shared_ptr<WindowEventHandler> find(std::uint32_t windowID) const;

    std::map<std::uint32_t, std::weak_ptr<WindowEventHandler>> windows_;
    std::shared_ptr<CADisplayLink> displayLink_;
};

}  // namespace ondrix::sdl
