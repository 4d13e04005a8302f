#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include <ondrix/platform/ffmpeg/FFmpeg.h>

namespace ondrix::ffmpeg {

/// Ends what waits for a file or a device. Safe to use from any thread.
class Cancellation {
public:
    Cancellation() = default;
    Cancellation(const Cancellation&) = delete;
    Cancellation& operator=(const Cancellation&) = delete;

    /// Something else that may ask for the end. Set before any other thread knows this object.
    void setOther(std::function<bool()> isAskedFor) { isAskedForElsewhere_ = std::move(isAskedFor); }
    void ask() { isAskedFor_ = true; }
    [[nodiscard]] bool isAskedFor() const { return isAskedFor_ || (isAskedForElsewhere_ && isAskedForElsewhere_()); }

    /// For FFmpeg's libraries, which this object must outlive.
    [[nodiscard]] AVIOInterruptCB interrupt() const {
        const auto ask = [](void* self) { return static_cast<const Cancellation*>(self)->isAskedFor() ? 1 : 0; };
        return {ask, const_cast<Cancellation*>(this)};
    }

private:
    std::atomic<bool> isAskedFor_ = false;
    std::function<bool()> isAskedForElsewhere_;
};

}  // namespace ondrix::ffmpeg
