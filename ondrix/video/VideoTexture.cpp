#include <cassert>
#include <new>
#include <utility>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/video/VideoTexture.h>

namespace ondrix {

VideoTexture::VideoTexture(std::shared_ptr<Device> device, FrameAvailable onFrameAvailable)
    : Texture(std::move(device), nullptr), onFrameAvailable_(shared(std::move(onFrameAvailable))) {}

std::shared_ptr<VideoTexture::FrameAvailable> VideoTexture::shared(FrameAvailable callback) {
    return callback ? std::make_shared<FrameAvailable>(std::move(callback)) : nullptr;
}

VideoTexture::FrameAvailable VideoTexture::onFrameAvailable() const {
    return Failure::orAbsent([this] { return onFrameAvailable_ != nullptr ? *onFrameAvailable_ : nullptr; });
}

void VideoTexture::setOnFrameAvailable(FrameAvailable onFrameAvailable) {
    Failure::orAbsent([&] { onFrameAvailable_ = shared(std::move(onFrameAvailable)); });
}

void VideoTexture::set(std::shared_ptr<VideoFrameSource> frameSource) {
    assert(frameSource != nullptr);
    const auto self = shared_from_this();  // the source so far may hold the last reference
    clearFrameSource();
    Failure::wholeOrAbsent([&] {
        try {
            source_ = frameSource;
            frameSource->add(std::shared_ptr<VideoFrameSourceDelegate>(self, this));
        } catch (const std::bad_alloc&) {
            source_ = nullptr;
            throw;
        }
    });
}

void VideoTexture::clearFrameSource() {
    if (const auto source = std::exchange(source_, nullptr)) source->destroy();
}

void VideoTexture::videoFrameSource(VideoFrameSource&, const std::shared_ptr<CVPixelBuffer>& didReceiveNewVideoFrame) {
    Failure::orAbsent([&] {
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
            delegates().invoke([&](TextureDelegate& delegate) { delegate.texture(*this, frameSize); });
        }
        const auto onFrameAvailable = onFrameAvailable_;  // the callback may replace itself
        if (onFrameAvailable != nullptr) (*onFrameAvailable)(*this);
    });
}

void VideoTexture::prepareForRelease() {
    const auto self = shared_from_this();  // the callback or the source may hold the last reference
    setOnFrameAvailable(nullptr);
    clearFrameSource();
    setMtlTexture(nullptr);
}

}  // namespace ondrix
