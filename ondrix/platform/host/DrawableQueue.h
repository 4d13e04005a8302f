#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/corevideo/CVPixelBufferPool.h>
#include <ondrix/platform/metal/MTLDevice.h>
#include <ondrix/platform/quartzcore/CAMetalDrawable.h>

namespace ondrix::host {

/// Makes the drawables of a view, each over a BGRA pixel buffer that the view can show without the device. Drawables
/// may outlive it. Operated from the main thread; drawables are presented from any.
class DrawableQueue : public std::enable_shared_from_this<DrawableQueue> {
public:
    static constexpr std::int64_t capacity = 3;  ///< drawables and shown frames that exist at most

    /// `onPresented` receives a complete frame, on the thread that presents; it may hold it as long as it likes.
    [[nodiscard]] static std::shared_ptr<DrawableQueue> create(
        std::function<void(std::shared_ptr<CVPixelBuffer>)> onPresented);

    [[nodiscard]] std::shared_ptr<MTLDevice> device() const { return device_; }
    void setDevice(std::shared_ptr<MTLDevice> device);
    /// Sides of the next drawable in pixels; below 1 there are none.
    void setSize(std::int64_t width, std::int64_t height);
    /// The same object until it is presented or work that presents it is committed, or the device or the size changes.
    /// Null without a device or an area, when the device makes no texture, and while `capacity` frames are out.
    [[nodiscard]] std::shared_ptr<CAMetalDrawable> currentDrawable();

private:
    class Drawable;

    explicit DrawableQueue(std::function<void(std::shared_ptr<CVPixelBuffer>)> onPresented);

    [[nodiscard]] std::shared_ptr<Drawable> makeDrawable();
    void setCurrent(std::shared_ptr<Drawable> drawable);
    void forget(const Drawable& drawable);  ///< it is no longer the current one; from any thread

    const std::function<void(std::shared_ptr<CVPixelBuffer>)> onPresented_;
    std::shared_ptr<MTLDevice> device_;
    std::int64_t width_ = 0;
    std::int64_t height_ = 0;
    std::shared_ptr<CVPixelBufferPool> pool_;           ///< of the present size; null before the first drawable
    std::vector<std::weak_ptr<CVPixelBuffer>> frames_;  ///< those that are out, of whatever size
    std::mutex mutex_;                                  ///< guards `current_`
    std::shared_ptr<Drawable> current_;
};

}  // namespace ondrix::host
