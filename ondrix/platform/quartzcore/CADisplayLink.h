#pragma once

#include <functional>
#include <memory>
#include <utility>

#include <ondrix/platform/foundation/NSRunLoop.h>

namespace ondrix {

/// Calls an operation of its target at every refresh of the display, on the run loop that it was added to. It keeps its
/// target alive, and the run loop keeps the link, until `invalidate()`. For the run loop's thread.
class CADisplayLink : public NSRunLoopSource, public std::enable_shared_from_this<CADisplayLink> {
public:
    template <typename Target>
    [[nodiscard]] static std::shared_ptr<CADisplayLink> create(std::shared_ptr<Target> target,
                                                               void (Target::*selector)()) {
        return create([target = std::move(target), selector] { ((*target).*selector)(); });
    }
    [[nodiscard]] static std::shared_ptr<CADisplayLink> create(std::function<void()> action);

    /// Starts the calls; the first comes at the next refresh. For a link that isn't on a loop yet.
    void add(NSRunLoop& toRunLoop);
    /// Ends the calls for good and releases the target, at the latest when a call that is just running returns.
    void invalidate();

    [[nodiscard]] bool isPaused() const noexcept { return paused_; }
    void setPaused(bool paused) noexcept;  ///< goes on at the next refresh

    /// Seconds between two refreshes.
    [[nodiscard]] static double refreshInterval() noexcept;
    /// The display's refresh rate in hertz, which a window sets when it appears on a display: 60 to begin with. Rates
    /// that no display has (below 1, above 1000) are ignored. Safe to use from any thread.
    static void setRefreshRate(double hertz) noexcept;

    [[nodiscard]] bool isValid() const override;
    [[nodiscard]] double nextFireTime() const override;
    void fire() override;

private:
    explicit CADisplayLink(std::function<void()> action);

    std::shared_ptr<const std::function<void()>> action_;  ///< null once invalid
    double nextFireTime_ = 0;
    bool paused_ = false;
};

}  // namespace ondrix
