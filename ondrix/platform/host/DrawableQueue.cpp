#include <algorithm>
#include <atomic>
#include <cassert>
#include <utility>

#include <ondrix/platform/host/DrawableQueue.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix::host {

class DrawableQueue::Drawable final : public CAMetalDrawable, public std::enable_shared_from_this<Drawable> {
public:
    Drawable(std::weak_ptr<DrawableQueue> queue, std::shared_ptr<CVPixelBuffer> pixelBuffer,
             std::shared_ptr<MTLTexture> texture)
        : queue_(std::move(queue)), pixelBuffer_(std::move(pixelBuffer)), texture_(std::move(texture)) {}

    [[nodiscard]] std::shared_ptr<MTLTexture> texture() const override { return texture_; }

    void presentScheduled() override {
        if (const auto queue = queue_.lock()) queue->forget(*this);
    }
    void present() override {
        if (presented_.exchange(true)) return;
        const auto self = weak_from_this().lock();  // the queue may hold the last reference
        if (const auto queue = queue_.lock()) {
            queue->forget(*this);
            queue->onPresented_(pixelBuffer_);
        }
    }

private:
    const std::weak_ptr<DrawableQueue> queue_;
    const std::shared_ptr<CVPixelBuffer> pixelBuffer_;
    const std::shared_ptr<MTLTexture> texture_;
    std::atomic<bool> presented_ = false;
};

DrawableQueue::DrawableQueue(std::function<void(std::shared_ptr<CVPixelBuffer>)> onPresented)
    : onPresented_(std::move(onPresented)) {
    assert(onPresented_ != nullptr);
}

std::shared_ptr<DrawableQueue> DrawableQueue::create(std::function<void(std::shared_ptr<CVPixelBuffer>)> onPresented) {
    return std::shared_ptr<DrawableQueue>(new DrawableQueue(std::move(onPresented)));
}

void DrawableQueue::setDevice(std::shared_ptr<MTLDevice> device) {
    if (device == device_) return;
    device_ = std::move(device);
    setCurrent(nullptr);
}

void DrawableQueue::setSize(std::int64_t width, std::int64_t height) {
    if (width == width_ && height == height_) return;
    width_ = width;
    height_ = height;
    pool_ = nullptr;
    setCurrent(nullptr);
}

std::shared_ptr<CAMetalDrawable> DrawableQueue::currentDrawable() {
    {
        const std::lock_guard lock(mutex_);
        if (current_ != nullptr) return current_;
    }
    // Only this thread makes drawables, so there still is none.
    return os::orAbsent([this] {
        auto drawable = makeDrawable();
        setCurrent(drawable);
        return drawable;
    });
}

std::shared_ptr<DrawableQueue::Drawable> DrawableQueue::makeDrawable() {
    if (device_ == nullptr || width_ < 1 || height_ < 1) return nullptr;
    std::erase_if(frames_, [](const auto& frame) { return frame.expired(); });
    if (static_cast<std::int64_t>(frames_.size()) >= capacity) return nullptr;

    if (pool_ == nullptr) {
        const CVAttributes attributes = {{kCVPixelBufferPixelFormatTypeKey, std::int64_t{kCVPixelFormatType_32BGRA}},
                                         {kCVPixelBufferWidthKey, width_},
                                         {kCVPixelBufferHeightKey, height_}};
        if (CVPixelBufferPoolCreate(nullptr, &attributes, &pool_) != kCVReturnSuccess) return nullptr;
    }
    std::shared_ptr<CVPixelBuffer> pixelBuffer;
    if (CVPixelBufferPoolCreatePixelBuffer(*pool_, &pixelBuffer) != kCVReturnSuccess) return nullptr;

    auto descriptor = MTLTextureDescriptor::texture2DDescriptor(
        MTLPixelFormat::bgra8Unorm, static_cast<std::uint64_t>(width_), static_cast<std::uint64_t>(height_), false);
    descriptor.usage = MTLTextureUsage::unknown;  // may be drawn, written and read
    auto texture = device_->makeTexture(descriptor, CVPixelBufferGetIOSurface(pixelBuffer), 0);
    if (texture == nullptr) return nullptr;
    frames_.push_back(pixelBuffer);
    return std::make_shared<Drawable>(weak_from_this(), std::move(pixelBuffer), std::move(texture));
}

void DrawableQueue::setCurrent(std::shared_ptr<Drawable> drawable) {
    const std::lock_guard lock(mutex_);
    current_.swap(drawable);
}

void DrawableQueue::forget(const Drawable& drawable) {
    const std::lock_guard lock(mutex_);
    if (current_.get() == &drawable) current_ = nullptr;
}

}  // namespace ondrix::host
