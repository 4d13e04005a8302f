#include <algorithm>
#include <mutex>
#include <utility>

#include <ondrix/platform/host/DrawableQueue.h>
#include <ondrix/platform/metalkit/HeadlessView.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

namespace {

/// Whole pixels of a side; 0 for one that isn't a number, and never more than can be counted.
std::int64_t wholePixels(double side) {
    constexpr double limit = 1 << 30;
    return side >= 1 ? static_cast<std::int64_t>(std::min(side, limit)) : 0;
}

/// What is shown. Shared with the drawables' queue, so that a frame may still be presented while the view goes.
class Screen {
public:
    void show(std::shared_ptr<CVPixelBuffer> frame) {
        const std::lock_guard lock(mutex_);
        frame_.swap(frame);
        ++count_;
    }
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> frame() const {
        const std::lock_guard lock(mutex_);
        return frame_;
    }
    [[nodiscard]] std::int64_t count() const {
        const std::lock_guard lock(mutex_);
        return count_;
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<CVPixelBuffer> frame_;
    std::int64_t count_ = 0;
};

class OffscreenView final : public HeadlessView, public std::enable_shared_from_this<OffscreenView> {
public:
    OffscreenView(CGSize drawableSize, std::shared_ptr<MTLDevice> device)
        : drawables_(host::DrawableQueue::create(
              [screen = screen_](std::shared_ptr<CVPixelBuffer> frame) { screen->show(std::move(frame)); })) {
        applyDrawableSize(drawableSize);
        drawables_->setDevice(std::move(device));
    }

    [[nodiscard]] std::shared_ptr<MTKViewDelegate> delegate() const override { return delegate_.lock(); }
    void setDelegate(const std::shared_ptr<MTKViewDelegate>& delegate) override { delegate_ = delegate; }
    [[nodiscard]] std::shared_ptr<MTLDevice> device() const override { return drawables_->device(); }
    void setDevice(std::shared_ptr<MTLDevice> device) override { drawables_->setDevice(std::move(device)); }
    [[nodiscard]] MTLPixelFormat colorPixelFormat() const override { return MTLPixelFormat::bgra8Unorm; }
    [[nodiscard]] CGSize drawableSize() const override { return drawableSize_; }
    [[nodiscard]] std::shared_ptr<CAMetalDrawable> currentDrawable() override {
        return minimised_ ? nullptr : drawables_->currentDrawable();
    }
    void draw() override {
        const auto self = weak_from_this().lock();  // the delegate may drop the view
        if (const auto delegate = delegate_.lock()) delegate->draw(*this);
    }

    void setDrawableSize(CGSize size) override {
        if (size.width == drawableSize_.width && size.height == drawableSize_.height) return;
        const auto self = weak_from_this().lock();  // the delegate may drop the view
        if (const auto delegate = delegate_.lock()) delegate->mtkView(*this, size);
        applyDrawableSize(size);
    }
    void setMinimised(bool minimised) override { minimised_ = minimised; }
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> shownFrame() const override { return screen_->frame(); }
    [[nodiscard]] std::int64_t shownFrameCount() const override { return screen_->count(); }

private:
    void applyDrawableSize(CGSize size) {
        drawableSize_ = size;
        drawables_->setSize(wholePixels(size.width), wholePixels(size.height));
    }

    const std::shared_ptr<Screen> screen_ = std::make_shared<Screen>();
    const std::shared_ptr<host::DrawableQueue> drawables_;
    std::weak_ptr<MTKViewDelegate> delegate_;
    CGSize drawableSize_;
    bool minimised_ = false;
};

}  // namespace

std::shared_ptr<HeadlessView> HeadlessView::create(CGSize drawableSize, std::shared_ptr<MTLDevice> device) {
    return os::orAbsent([&]() -> std::shared_ptr<HeadlessView> {
        return std::make_shared<OffscreenView>(drawableSize, std::move(device));
    });
}

}  // namespace ondrix
