#include "FrameInput.h"

#include <cstdio>
#include <utility>

#include "tools/system/Failure.h"

namespace ondrix::tools {

bool isCamera(const std::string& name) {
    return LiveSource::isLiveName(name) && !name.starts_with("lavfi:");
}

MovieOptions movieOptions(bool allowsPlaylists, const Interruption& interruption) {
    MovieOptions options;
    options.allowsPlaylists = allowsPlaylists;
    options.isCancelled = [&interruption] { return interruption.requested(); };
    return options;
}

void failToRead(const std::string& name, const MovieOptions& options, const std::string& reason) {
    if (options.isCancelled()) throw Interrupted(name, "interrupted");
    const bool isPlaylist = reason.find("where playlists are allowed") != std::string::npos;
    throw Failure(name, isPlaylist ? reason + " (--allow-playlists)" : reason);
}

FrameInput::FrameInput(std::string name, MovieOptions options) : name_(std::move(name)), options_(std::move(options)) {
    NSError error;
    if (LiveSource::isLiveName(name_)) {
        live_ = LiveSource::open(name_, MovieFrameFormat::decoded, &error);
    } else {
        reader_ = MovieReader::open(URL(name_), MovieFrameFormat::decoded, options_, &error);
    }
    if (live_ == nullptr && reader_ == nullptr) failToRead(name_, options_, error.localizedDescription());
}

const MovieInformation& FrameInput::information() const {
    return live_ != nullptr ? live_->information() : reader_->information();
}

std::shared_ptr<CMSampleBuffer> FrameInput::next() {
    if (reader_ != nullptr) return reader_->copyNextSampleBuffer();
    const auto frame = live_->copyNextSampleBuffer();
    return frame != nullptr ? sinceFirst(*frame) : nullptr;
}

// Cameras count from when the machine was started, or from 1970.
std::shared_ptr<CMSampleBuffer> FrameInput::sinceFirst(const CMSampleBuffer& frame) {
    CMSampleTimingInfo timing;
    CMSampleBufferGetSampleTimingInfo(frame, 0, &timing);
    if (!first_) first_ = timing.presentationTimeStamp;
    timing.presentationTimeStamp = CMTimeSubtract(timing.presentationTimeStamp, *first_);
    timing.decodeTimeStamp = kCMTimeInvalid;
    std::shared_ptr<CMSampleBuffer> shifted;
    CMSampleBufferCreateReadyWithImageBuffer(CMSampleBufferGetImageBuffer(frame),
                                             CMSampleBufferGetFormatDescription(frame), timing, &shifted);
    return shifted;
}

std::shared_ptr<CMSampleBuffer> FrameInput::frameAt(double seconds) {
    if (reader_ == nullptr) throw Failure(name_, "only a movie file has a frame at a given time");
    const double end = CMTimeGetSeconds(reader_->information().duration);
    if (seconds > end) {
        char reason[64];
        std::snprintf(reason, sizeof reason, "ends at %.3f s, before %.3f s", end, seconds);
        throw Failure(name_, reason);
    }
    // Microseconds: a decimal such as 0.1 then is the tick that it means.
    const CMTime time = CMTimeAdd(reader_->information().start, CMTimeMakeWithSeconds(seconds, 1000000));
    if (!reader_->seek(time)) failToRead(name_, options_, "can't be searched");
    auto frame = reader_->copyNextSampleBuffer();
    checkEnd();
    if (frame == nullptr) failToRead(name_, options_, "no frame can be decoded there");
    return frame;
}

void FrameInput::checkEnd() const {
    const auto error = live_ != nullptr ? live_->error() : reader_->error();
    if (error) throw Failure(name_, error->localizedDescription());
}

std::int64_t FrameInput::lostFrameCount() const {
    return live_ != nullptr ? live_->droppedFrameCount() : reader_->lostFrameCount();
}

bool FrameInput::isCancelled() const {
    return options_.isCancelled && options_.isCancelled();
}

void FrameInput::cancel() {
    if (live_ != nullptr) live_->cancel();
    if (reader_ != nullptr) reader_->cancel();
}

std::shared_ptr<FrameTexture> makeFrameTexture(const std::shared_ptr<Device>& device, const std::string& file) {
    return orFail(file,
                  [&](NSError* error) { return FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, error); });
}

void show(FrameTexture& texture, const CMSampleBuffer& frame, MTLCommandBuffer& commandBuffer,
          const std::string& file) {
    orFail(file,
           [&](NSError* error) { return texture.show(CMSampleBufferGetImageBuffer(frame), commandBuffer, error); });
}

}  // namespace ondrix::tools
