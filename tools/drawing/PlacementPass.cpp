#include "PlacementPass.h"

#include <utility>

namespace ondrix::tools {

PlacementPass::PlacementPass(std::shared_ptr<Texture> input, std::shared_ptr<Texture> output,
                             MTLPixelFormat outputPixelFormat, PresentationOptions options)
    : input_(std::move(input)), output_(std::move(output)), outputPixelFormat_(outputPixelFormat), options_(options) {}

bool PlacementPass::isTurned() const {
    return options_.rotation != ImageRotation::degrees0 || options_.flip;
}

Size2<Int> PlacementPass::unturnedSize() const {
    const Size2<Int> size = output_->size();
    return options_.isQuarterTurn() ? Size2<Int>(size.height(), size.width()) : size;
}

ResizeFilter PlacementPass::filter() const {
    if (options_.filter) return *options_.filter;
    const Size2<Int> from = input_->size(), to = unturnedSize();
    const bool isNarrower = to.width() < from.width(), isLower = to.height() < from.height();
    const bool shrinks = options_.mode == ContentMode::scaleAspectFill ? isNarrower && isLower : isNarrower || isLower;
    return shrinks ? ResizeFilter::area : ResizeFilter::linear;
}

bool PlacementPass::makePlace(const std::shared_ptr<Texture>& from, ContentMode mode) {
    if (place_ == nullptr) {
        place_ = PlaceTexturePass::create(input_->device(), from, output_, outputPixelFormat_, mode, options_.rotation,
                                          options_.flip, nullptr);
        return place_ != nullptr;
    }
    if (place_->inputTexture() != from) {
        place_->set(from);
        place_->set(mode, options_.rotation, options_.flip);
    }
    return true;
}

bool PlacementPass::makeResize(ResizeFilter filter) {
    if (isTurned() && resized_ == nullptr) {
        resized_ = input_->device()->makeTexture(unturnedSize(), outputPixelFormat_,
                                                 MTLTextureUsage::shaderRead | MTLTextureUsage::shaderWrite);
        if (resized_ == nullptr) return false;
    }
    if (resize_ == nullptr) {
        resize_ = ResizeTexturePass::create(input_->device(), input_, isTurned() ? resized_ : output_, filter, nullptr);
        if (resize_ == nullptr) return false;
        resize_->set(options_.mode);
    }
    resize_->set(filter);
    return resized_ == nullptr || resized_->resize(unturnedSize());
}

bool PlacementPass::encode(MTLCommandBuffer& commandBuffer) {
    const ResizeFilter filter = this->filter();
    if (filter == ResizeFilter::linear) return makePlace(input_, options_.mode) && place_->encode(commandBuffer);
    if (!makeResize(filter) || !resize_->encode(commandBuffer)) return false;
    return !isTurned() || (makePlace(resized_, ContentMode::scaleToFill) && place_->encode(commandBuffer));
}

}  // namespace ondrix::tools
