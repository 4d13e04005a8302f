#include <cassert>
#include <mutex>
#include <new>
#include <utility>

#include <SDL2/SDL.h>

#include <ondrix/platform/corevideo/PixelBufferLock.h>
#include <ondrix/platform/host/DrawableQueue.h>
#include <ondrix/platform/os/Logger.h>
#include <ondrix/platform/sdl/WindowSystem.h>
#include <ondrix/platform/sdl/WindowView.h>

namespace ondrix {

namespace {

const os::Logger& logger() {
    static const auto* const logger = new os::Logger(os::mainSubsystem(), "window");
    return *logger;
}

/// Where presented frames wait, the newest only, until the main thread shows them.
class FrameSlot {
public:
    void put(std::shared_ptr<CVPixelBuffer> frame) {
        const std::lock_guard lock(mutex_);
        frame_.swap(frame);
    }
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(frame_, nullptr);
    }

private:
    std::mutex mutex_;
    std::shared_ptr<CVPixelBuffer> frame_;
};

struct Destroy {
    void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
    void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
    void operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }
};

class SDLWindowView final : public WindowView,
                            public sdl::WindowEventHandler,
                            public std::enable_shared_from_this<SDLWindowView> {
public:
    explicit SDLWindowView(std::shared_ptr<sdl::WindowSystem> system) : system_(std::move(system)) {}
    ~SDLWindowView() override {
        if (window_ != nullptr) system_->remove(SDL_GetWindowID(window_.get()));
    }

    /// The second half of construction. False, with SDL's reason, when there is no window then.
    [[nodiscard]] bool start(const std::string& title, CGSize size, std::shared_ptr<MTLDevice> device);

    [[nodiscard]] std::shared_ptr<MTKViewDelegate> delegate() const override { return delegate_.lock(); }
    void setDelegate(const std::shared_ptr<MTKViewDelegate>& delegate) override { delegate_ = delegate; }
    [[nodiscard]] std::shared_ptr<MTLDevice> device() const override { return queue_->device(); }
    void setDevice(std::shared_ptr<MTLDevice> device) override { queue_->setDevice(std::move(device)); }
    [[nodiscard]] MTLPixelFormat colorPixelFormat() const override { return MTLPixelFormat::bgra8Unorm; }
    [[nodiscard]] CGSize drawableSize() const override { return drawableSize_; }
    [[nodiscard]] std::shared_ptr<CAMetalDrawable> currentDrawable() override;
    void draw() override;

    void setTitle(const std::string& title) override { SDL_SetWindowTitle(window_.get(), title.c_str()); }
    void setEvents(WindowEvents events) override { events_ = std::move(events); }
    [[nodiscard]] bool isClosed() const override { return closed_; }

    void handle(const SDL_Event& event) override;
    void refresh() override;

private:
    void handleWindow(const SDL_WindowEvent& event);
    void handleKey(SDL_Keycode key);
    void close();
    void followSize();
    void followDisplay();
    [[nodiscard]] bool upload(CVPixelBuffer& frame);
    void show();

    std::shared_ptr<sdl::WindowSystem> system_;
    std::unique_ptr<SDL_Window, Destroy> window_;
    std::unique_ptr<SDL_Renderer, Destroy> renderer_;
    std::unique_ptr<SDL_Texture, Destroy> texture_;  ///< the frame that is shown; null before the first
    std::int64_t textureWidth_ = 0;
    std::int64_t textureHeight_ = 0;
    std::shared_ptr<FrameSlot> slot_ = std::make_shared<FrameSlot>();
    std::shared_ptr<host::DrawableQueue> queue_;
    CGSize drawableSize_{};
    std::weak_ptr<MTKViewDelegate> delegate_;
    WindowEvents events_;
    bool minimised_ = false;
    bool hidden_ = false;
    bool closed_ = false;
};

bool SDLWindowView::start(const std::string& title, CGSize size, std::shared_ptr<MTLDevice> device) {
    constexpr std::uint32_t flags = SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI;
    window_.reset(SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                                   static_cast<int>(size.width), static_cast<int>(size.height), flags));
    if (window_ == nullptr) return false;
    // The renderer doesn't wait for the display: that would hold up the main run loop, once for every window. Frames
    // are shown once a refresh anyway.
    renderer_.reset(SDL_CreateRenderer(window_.get(), -1, 0));
    if (renderer_ == nullptr) return false;

    queue_ = host::DrawableQueue::create(
        [slot = slot_](std::shared_ptr<CVPixelBuffer> frame) { slot->put(std::move(frame)); });
    queue_->setDevice(std::move(device));
    followSize();
    followDisplay();
    system_->add(SDL_GetWindowID(window_.get()), weak_from_this());
    show();  // black until the first frame
    return true;
}

std::shared_ptr<CAMetalDrawable> SDLWindowView::currentDrawable() {
    return minimised_ || hidden_ || closed_ ? nullptr : queue_->currentDrawable();
}

void SDLWindowView::draw() {
    if (const auto delegate = delegate_.lock()) delegate->draw(*this);
}

void SDLWindowView::handle(const SDL_Event& event) {
    if (closed_) return;
    switch (event.type) {
        case SDL_WINDOWEVENT:
            return handleWindow(event.window);
        case SDL_KEYDOWN:
            return handleKey(event.key.keysym.sym);
        case SDL_TEXTINPUT: {
            const std::string text = event.text.text;
            for (const char character : text) {
                const auto callback = events_.character;  // which may set others
                if (callback && static_cast<unsigned char>(character) < 0x80) callback(character);
            }
            return;
        }
        default:
            return;
    }
}

void SDLWindowView::handleWindow(const SDL_WindowEvent& event) {
    switch (event.event) {
        case SDL_WINDOWEVENT_SIZE_CHANGED:
            return followSize();
        case SDL_WINDOWEVENT_DISPLAY_CHANGED:
            followDisplay();
            return followSize();  // the new one may have another density
        case SDL_WINDOWEVENT_MINIMIZED:
            minimised_ = true;
            return;
        case SDL_WINDOWEVENT_RESTORED:
        case SDL_WINDOWEVENT_MAXIMIZED:
            minimised_ = false;
            return;
        case SDL_WINDOWEVENT_HIDDEN:
            hidden_ = true;
            return;
        case SDL_WINDOWEVENT_SHOWN:
            hidden_ = false;
            return;
        case SDL_WINDOWEVENT_EXPOSED:
            return show();
        case SDL_WINDOWEVENT_CLOSE:
            return close();
        default:
            return;
    }
}

void SDLWindowView::handleKey(SDL_Keycode key) {
    const auto callback = events_.key;
    if (!callback) return;
    switch (key) {
        case SDLK_LEFT:
            return callback(WindowKey::left);
        case SDLK_RIGHT:
            return callback(WindowKey::right);
        case SDLK_UP:
            return callback(WindowKey::up);
        case SDLK_DOWN:
            return callback(WindowKey::down);
        case SDLK_ESCAPE:
            return callback(WindowKey::escape);
        default:
            return;
    }
}

void SDLWindowView::close() {
    closed_ = true;
    SDL_HideWindow(window_.get());
    if (const auto callback = events_.closed) callback();
}

void SDLWindowView::followSize() {
    int width = 0;
    int height = 0;
    if (SDL_GetRendererOutputSize(renderer_.get(), &width, &height) != 0) return;
    if (drawableSize_.width == width && drawableSize_.height == height) return;
    const CGSize size{static_cast<double>(width), static_cast<double>(height)};
    if (const auto delegate = delegate_.lock()) delegate->mtkView(*this, size);
    drawableSize_ = size;
    queue_->setSize(width, height);
}

void SDLWindowView::followDisplay() {
    SDL_DisplayMode mode{};
    const int display = SDL_GetWindowDisplayIndex(window_.get());
    if (display >= 0 && SDL_GetCurrentDisplayMode(display, &mode) == 0)
        CADisplayLink::setRefreshRate(mode.refresh_rate);  // 0 where the display doesn't tell, which is ignored
}

void SDLWindowView::refresh() {
    if (closed_) return;
    const auto frame = slot_->take();
    if (frame == nullptr) return;
    if (!upload(*frame)) {
        logger().error("A frame can't be shown: %s.", SDL_GetError());
        return;
    }
    show();
}

bool SDLWindowView::upload(CVPixelBuffer& frame) {
    const std::int64_t width = CVPixelBufferGetWidth(frame);
    const std::int64_t height = CVPixelBufferGetHeight(frame);
    if (texture_ == nullptr || textureWidth_ != width || textureHeight_ != height) {
        texture_.reset(SDL_CreateTexture(renderer_.get(), SDL_PIXELFORMAT_BGRA32, SDL_TEXTUREACCESS_STREAMING,
                                         static_cast<int>(width), static_cast<int>(height)));
        if (texture_ == nullptr) return false;
        SDL_SetTextureBlendMode(texture_.get(), SDL_BLENDMODE_NONE);
        textureWidth_ = width;
        textureHeight_ = height;
    }
    const PixelBufferLock lock(frame, kCVPixelBufferLock_ReadOnly);
    return SDL_UpdateTexture(texture_.get(), nullptr, lock.bytes(), static_cast<int>(lock.bytesPerRow())) == 0;
}

/// A frame of another size than the window, as between a change of size and the next frame, is stretched.
void SDLWindowView::show() {
    SDL_RenderClear(renderer_.get());
    if (texture_ != nullptr) SDL_RenderCopy(renderer_.get(), texture_.get(), nullptr, nullptr);
    SDL_RenderPresent(renderer_.get());
}

}  // namespace

std::shared_ptr<WindowView> WindowView::create(const std::string& title, CGSize size, std::shared_ptr<MTLDevice> device,
                                               NSError* error) {
    std::string reason;
    try {
        if (auto system = sdl::WindowSystem::open(reason)) {
            auto view = std::make_shared<SDLWindowView>(std::move(system));
            if (view->start(title, size, std::move(device))) return view;
            reason = SDL_GetError();
        }
    } catch (const std::bad_alloc&) {
        reason = "out of memory";
    }
    if (error != nullptr) *error = NSError(std::move(reason));
    return nullptr;
}

}  // namespace ondrix
