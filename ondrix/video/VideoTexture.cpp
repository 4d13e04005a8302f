#include <cassert>
#include <new>
#include <utility>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/frames/FrameTexture.h>
#include <ondrix/video/VideoTexture.h>

namespace ondrix {

VideoTexture::VideoTexture(std::shared_ptr<Device> device, FrameAvailable onFrameAvailable)
    : Texture(std::move(device), nullptr), onFrameAvailable_(shared(std::move(onFrameAvailable))) {}

std::shared_ptr<VideoTexture> VideoTexture::create(std::shared_ptr<Device> device, MTLPixelFormat pixelFormat,
                                                   FrameAvailable onFrameAvailable, NSError* error) {
    assert(device != nullptr);
    return Failure::toldTo(error, [&]() -> std::shared_ptr<VideoTexture> {
        std::shared_ptr<VideoTexture> texture(new VideoTexture(device, std::move(onFrameAvailable)));
        texture->frames_ = FrameTexture::create(device, pixelFormat, nullptr);
        if (texture->frames_ == nullptr) return nullptr;
        texture->queue_ = device->mtlDevice()->makeCommandQueue();
        if (texture->queue_ != nullptr) return texture;
        Logger::gfx().error("Failed to create the command queue for a video's frames.");
        return nullptr;
    });
}

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
        const auto frame = frames_ != nullptr ? show(didReceiveNewVideoFrame) : convert(didReceiveNewVideoFrame);
        if (frame == nullptr) return;
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

std::shared_ptr<MTLTexture> VideoTexture::show(const std::shared_ptr<CVPixelBuffer>& frame) {
    const auto commandBuffer = queue_->makeCommandBuffer();
    if (commandBuffer == nullptr) {
        Logger::gfx().error("Failed to create the command buffer for a video's frame.");
        return nullptr;
    }
    if (!frames_->show(frame, *commandBuffer, nullptr)) return nullptr;
    commandBuffer->commit();
    return frames_->mtlTexture();
}

std::shared_ptr<MTLTexture> VideoTexture::convert(const std::shared_ptr<CVPixelBuffer>& frame) {
    const auto converter = device()->textureConverter();
    if (converter == nullptr) {
        Logger::gfx().error(
            "Failed to get the texture converter from GFX device to convert pixel buffers to Metal textures.");
        return nullptr;
    }
    auto image = converter->texture(frame);
    if (image == nullptr) {
        Logger::gfx().error("Failed creating texture from the pixel buffer acquired from the latest video frame.");
    }
    return image;
}

void VideoTexture::prepareForRelease() {
    const auto self = shared_from_this();  // the callback or the source may hold the last reference
    setOnFrameAvailable(nullptr);
    clearFrameSource();
    setMtlTexture(nullptr);
    if (frames_ != nullptr) frames_->cleanup();
}

}  // namespace ondrix
