#pragma once

#include <functional>
#include <memory>
#include <string>

#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/metalkit/MTKView.h>

namespace ondrix {

/// Keys that a window tells of beside characters.
enum class WindowKey { left, right, up, down, escape };

/// What the user does to a window. Every function may be empty; all are called on the main run loop.
struct WindowEvents {
    std::function<void()> closed;         ///< the close button; the window has no drawable from then on
    std::function<void(char)> character;  ///< a typed ASCII character, such as ' ' or 'q'
    std::function<void(WindowKey)> key;
};

/// A view in a window on the desktop. Its events are handled on the main run loop, which must run; the display link
/// follows the refresh rate of the display that the window is on. Of frames presented within one refresh the newest is
/// shown. For the main thread; frames are presented from any.
class WindowView : public MTKView {
public:
    /// Sides on the desktop, in points. Null, with the reason, when there is no display.
    [[nodiscard]] static std::shared_ptr<WindowView> create(const std::string& title, CGSize size,
                                                            std::shared_ptr<MTLDevice> device, NSError* error);

    virtual void setTitle(const std::string& title) = 0;
    virtual void setEvents(WindowEvents events) = 0;
    [[nodiscard]] virtual bool isClosed() const = 0;
};

}  // namespace ondrix
