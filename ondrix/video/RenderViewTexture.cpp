#include <cassert>
#include <optional>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/video/RenderViewDelegate.h>
#include <ondrix/video/RenderViewTexture.h>

namespace ondrix {

namespace {

/// Absent for what no integer can hold, such as infinities and not-a-number.
std::optional<Int> truncated(double value) {
    constexpr double limit = 0x1p63;
    return value >= -limit && value < limit ? std::optional(static_cast<Int>(value)) : std::nullopt;
}

}  // namespace

RenderViewTexture::RenderViewTexture(std::shared_ptr<Device> device) : Texture(std::move(device), nullptr) {}

void RenderViewTexture::start(const std::shared_ptr<MTKView>& view) {
    assert(view != nullptr);
    renderView_ = view;
    renderViewDelegate_ = std::make_shared<RenderViewDelegate>([weakSelf = weak_from_this()](MTKView&, CGSize size) {
        if (const auto self = weakSelf.lock()) static_cast<RenderViewTexture&>(*self).drawableSizeWillChange(size);
    });
    view->setDelegate(renderViewDelegate_);
}

void RenderViewTexture::drawableSizeWillChange(CGSize size) {
    const auto width = truncated(size.width);
    const auto height = truncated(size.height);
    if (!width || !height) return;
    const Size2<Int> newSize(*width, *height);
    delegates().invoke([&](TextureDelegate& delegate) { delegate.texture(*this, newSize); });
}

std::shared_ptr<MTLTexture> RenderViewTexture::mtlTexture() const {
    const auto view = renderView_.lock();
    const auto drawable = view != nullptr ? view->currentDrawable() : nullptr;
    return drawable != nullptr ? drawable->texture() : nullptr;
}

void RenderViewTexture::prepareForRelease() {
    if (const auto view = renderView_.lock()) view->setDelegate(nullptr);
    renderView_.reset();
    setMtlTexture(nullptr);
}

}  // namespace ondrix
