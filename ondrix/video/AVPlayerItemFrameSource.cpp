#include <cassert>
#include <cerrno>
#include <new>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/video/AVPlayerItemFrameSource.h>

namespace ondrix {

namespace {

CVAttributes inBGRA() {
    return {{kCVPixelBufferPixelFormatTypeKey, std::int64_t{kCVPixelFormatType_32BGRA}}};
}

}  // namespace

AVPlayerItemFrameSource::AVPlayerItemFrameSource(std::shared_ptr<AVPlayerItem> playerItem)
    : AVPlayerItemFrameSource(std::move(playerItem), inBGRA()) {}

AVPlayerItemFrameSource::AVPlayerItemFrameSource(std::shared_ptr<AVPlayerItem> playerItem,
                                                 CVAttributes pixelBufferAttributes)
    : playerItem_(std::move(playerItem)),
      videoOutput_(AVPlayerItemVideoOutput::create(std::move(pixelBufferAttributes))) {
    assert(playerItem_ != nullptr);
    if (videoOutput_ == nullptr) throw std::bad_alloc();
}

std::shared_ptr<AVPlayerItemFrameSource> AVPlayerItemFrameSource::create(std::shared_ptr<AVPlayerItem> playerItem) {
    return Failure::wholeOrAbsent([&] { return create(std::move(playerItem), inBGRA()); });
}

std::shared_ptr<AVPlayerItemFrameSource> AVPlayerItemFrameSource::create(std::shared_ptr<AVPlayerItem> playerItem,
                                                                         CVAttributes pixelBufferAttributes) {
    return Failure::wholeOrAbsent([&] {
        std::shared_ptr<AVPlayerItemFrameSource> source(
            new AVPlayerItemFrameSource(std::move(playerItem), std::move(pixelBufferAttributes)));
        try {
            source->start();
        } catch (const std::bad_alloc&) {
            if (source->displayLink_ != nullptr) source->displayLink_->invalidate();
            source->playerItem_->remove(source->videoOutput_);
            throw;
        }
        return source;
    });
}

void AVPlayerItemFrameSource::start() {
    errno = 0;
    playerItem_->add(videoOutput_);
    displayLink_ = CADisplayLink::create(shared_from_this(), &AVPlayerItemFrameSource::displayLinkDidFire);
    if (displayLink_ != nullptr) displayLink_->add(NSRunLoop::main());
    if (displayLink_ == nullptr || errno == ENOMEM) throw std::bad_alloc();
}

void AVPlayerItemFrameSource::displayLinkDidFire() {
    Failure::orAbsent([&] {
        const auto self = shared_from_this();  // a listener may destroy the source
        const CMTime time = playerItem_->currentTime();
        if (!videoOutput_->hasNewPixelBuffer(time)) return;
        const auto pixelBuffer = videoOutput_->copyPixelBuffer(time, nullptr);
        if (pixelBuffer == nullptr) {
            Logger::gfx().error("Failed to copy pixel buffer from the latest video frame.");
            return;
        }
        delegates_.invoke([this, &pixelBuffer](VideoFrameSourceDelegate& delegate) {
            delegate.videoFrameSource(*this, pixelBuffer);
        });
    });
}

void AVPlayerItemFrameSource::destroy() {
    if (displayLink_ == nullptr) return;
    const auto self = shared_from_this();  // the link may hold the last reference
    delegates_.removeAll();
    std::exchange(displayLink_, nullptr)->invalidate();
    playerItem_->remove(videoOutput_);
}

void AVPlayerItemFrameSource::add(const std::shared_ptr<VideoFrameSourceDelegate>& delegate) {
    Failure::orAbsent([&] { delegates_.add(delegate); });
}

void AVPlayerItemFrameSource::remove(const VideoFrameSourceDelegate& delegate) {
    delegates_.remove(delegate);
}

}  // namespace ondrix
