#include <cassert>
#include <utility>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/core/Logger.h>
#include <ondrix/video/VideoTexture.h>

namespace ondrix {

VideoTexture::VideoTexture(std::shared_ptr<Device> device, FrameAvailable onFrameAvailable)
    : Texture(std::move(device), nullptr),
      onFrameAvailable_(std::make_shared<FrameAvailable>(std::move(onFrameAvailable))) {}

VideoTexture::FrameAvailable VideoTexture::onFrameAvailable() const {
    return *onFrameAvailable_;
}

void VideoTexture::setOnFrameAvailable(FrameAvailable onFrameAvailable) {
    onFrameAvailable_ = std::make_shared<FrameAvailable>(std::move(onFrameAvailable));
}

void VideoTexture::set(std::shared_ptr<VideoFrameSource> frameSource) {
    assert(frameSource != nullptr);
    const auto self = shared_from_this();  // the source so far may hold the last reference
    clearFrameSource();
    source_ = std::move(frameSource);
    source_->add(std::shared_ptr<VideoFrameSourceDelegate>(self, this));
}

void VideoTexture::clearFrameSource() {
    if (const auto source = std::exchange(source_, nullptr)) source->destroy();
}

void VideoTexture::videoFrameSource(VideoFrameSource&, const std::shared_ptr<CVPixelBuffer>& didReceiveNewVideoFrame) {
    const auto self = shared_from_this();  // an observer or the callback may drop the texture
    const auto converter = device()->textureConverter();
    if (converter == nullptr) {
        Logger::gfx().error(
            "Failed to get the texture converter from GFX device to convert pixel buffers to Metal textures.");
        return;
    }
    const auto frame = converter->texture(didReceiveNewVideoFrame);
    if (frame == nullptr) {
        Logger::gfx().error("Failed creating texture from the pixel buffer acquired from the latest video frame.");
        return;
    }
    setMtlTexture(frame);

    const Size2<Int> frameSize(static_cast<Int>(frame->width()), static_cast<Int>(frame->height()));
    if (frameSize != currSize_) {
        currSize_ = frameSize;
        delegates().invoke([this, frameSize](TextureDelegate& delegate) { delegate.texture(*this, frameSize); });
    }
    const auto onFrameAvailable = onFrameAvailable_;  // the callback may replace itself
    if (*onFrameAvailable) (*onFrameAvailable)(*this);
}

void VideoTexture::prepareForRelease() {
    const auto self = shared_from_this();  // the callback or the source may hold the last reference
    setOnFrameAvailable(nullptr);
    clearFrameSource();
    setMtlTexture(nullptr);
}

}  // namespace ondrix
