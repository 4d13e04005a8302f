#include <cassert>
#include <utility>

#include <ondrix/platform/avfoundation/AVPlayerItemVideoOutput.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

namespace {

bool isDue(CMTime frameTime, CMTime itemTime) {
    return CMTIME_IS_VALID(itemTime) && CMTimeCompare(frameTime, itemTime) <= 0;
}

}  // namespace

AVPlayerItemVideoOutput::AVPlayerItemVideoOutput(CVAttributes pixelBufferAttributes)
    : attributes_(std::move(pixelBufferAttributes)) {}

std::shared_ptr<AVPlayerItemVideoOutput> AVPlayerItemVideoOutput::create(CVAttributes pixelBufferAttributes) {
    return os::orAbsent([&] {
        return std::shared_ptr<AVPlayerItemVideoOutput>(new AVPlayerItemVideoOutput(std::move(pixelBufferAttributes)));
    });
}

bool AVPlayerItemVideoOutput::hasNewPixelBuffer(CMTime forItemTime) const {
    const std::lock_guard lock(mutex_);
    return !frames_.empty() && isDue(frames_.front().time, forItemTime);
}

std::shared_ptr<CVPixelBuffer> AVPlayerItemVideoOutput::copyPixelBuffer(CMTime forItemTime,
                                                                        CMTime* itemTimeForDisplay) {
    Frame newest;
    std::shared_ptr<const std::function<void()>> onSpace;
    {
        const std::lock_guard lock(mutex_);
        while (!frames_.empty() && isDue(frames_.front().time, forItemTime)) {
            newest = std::move(frames_.front());
            frames_.pop_front();
        }
        onSpace = onSpace_;
    }
    if (newest.pixelBuffer == nullptr) return nullptr;
    if (onSpace != nullptr) (*onSpace)();
    if (itemTimeForDisplay != nullptr) *itemTimeForDisplay = newest.time;
    return newest.pixelBuffer;
}

bool AVPlayerItemVideoOutput::append(std::shared_ptr<CVPixelBuffer> pixelBuffer, CMTime time) {
    return os::orAbsent([&] {
        assert(pixelBuffer != nullptr);
        const std::lock_guard lock(mutex_);
        assert(frames_.empty() || CMTimeCompare(frames_.back().time, time) < 0);
        if (frames_.size() >= capacity) return false;
        frames_.push_back({std::move(pixelBuffer), time});
        return true;
    });
}

void AVPlayerItemVideoOutput::dropFramesBefore(CMTime itemTime) {
    const std::lock_guard lock(mutex_);
    while (frames_.size() > 1 && isDue(frames_[1].time, itemTime)) frames_.pop_front();
}

void AVPlayerItemVideoOutput::flush() {
    const std::lock_guard lock(mutex_);
    frames_.clear();
}

void AVPlayerItemVideoOutput::setOnSpace(std::function<void()> onSpace) {
    os::orAbsent([&] {
        auto replacement = onSpace ? std::make_shared<const std::function<void()>>(std::move(onSpace)) : nullptr;
        const std::lock_guard lock(mutex_);
        onSpace_.swap(replacement);  // the old one goes after the lock
    });
}

}  // namespace ondrix
