#include <cassert>
#include <utility>

#include <ondrix/video/RenderViewDelegate.h>

namespace ondrix {

RenderViewDelegate::RenderViewDelegate(Callback callback) : callback_(std::move(callback)) {
    assert(callback_ != nullptr);
}

void RenderViewDelegate::mtkView(MTKView& view, CGSize drawableSizeWillChange) {
    callback_(view, drawableSizeWillChange);
}

void RenderViewDelegate::draw(MTKView&) {}

}  // namespace ondrix
