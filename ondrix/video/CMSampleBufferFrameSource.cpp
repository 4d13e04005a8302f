#include <cassert>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/video/CMSampleBufferFrameSource.h>

namespace ondrix {

std::shared_ptr<CMSampleBufferFrameSource> CMSampleBufferFrameSource::create() {
    return Failure::orAbsent([&] { return std::shared_ptr<CMSampleBufferFrameSource>(new CMSampleBufferFrameSource); });
}

std::shared_ptr<CMSampleBuffer> CMSampleBufferFrameSource::sampleBuffer() const {
    return sampleBuffer_;
}

void CMSampleBufferFrameSource::destroy() {
    delegates_.removeAll();
    sampleBuffer_ = nullptr;
}

void CMSampleBufferFrameSource::add(const std::shared_ptr<VideoFrameSourceDelegate>& delegate) {
    Failure::orAbsent([&] { delegates_.add(delegate); });
}

void CMSampleBufferFrameSource::remove(const VideoFrameSourceDelegate& delegate) {
    delegates_.remove(delegate);
}

void CMSampleBufferFrameSource::processFrame(std::shared_ptr<CMSampleBuffer> sampleBuffer) {
    Failure::orAbsent([&] {
        assert(sampleBuffer != nullptr);
        const auto pixelBuffer = CMSampleBufferGetImageBuffer(*sampleBuffer);
        if (pixelBuffer == nullptr) {
            Logger::gfx().error("Failed to get pixel buffer from sample buffer");
            return;
        }
        const auto self = shared_from_this();  // a listener may drop the source
        sampleBuffer_ = std::move(sampleBuffer);
        delegates_.invoke([this, &pixelBuffer](VideoFrameSourceDelegate& delegate) {
            delegate.videoFrameSource(*this, pixelBuffer);
        });
    });
}

}  // namespace ondrix
