#include <utility>

#include <ondrix/platform/ffmpeg/MediaTime.h>
#include <ondrix/platform/ffmpeg/SampleMaker.h>

namespace ondrix {

SampleMaker::SampleMaker(const AVStream& stream, MovieFrameFormat format, std::string name)
    : timeBase_(stream.time_base), name_(std::move(name)), converter_(format, PictureOrientation::of(stream)) {}

std::shared_ptr<CMSampleBuffer> SampleMaker::make(const DecodedPicture& picture, std::string& reason) {
    const PictureColours colours = PictureColours::of(*picture.frame);
    if (colours.isGuessed && !std::exchange(hasToldGuess_, true)) {
        mediaLogger().info("%s doesn't say its colours, which are taken for %s, as is usual for %dx%d pixels",
                           name_.c_str(), colours.matrix == AVCOL_SPC_BT709 ? "BT.709" : "BT.601", picture.frame->width,
                           picture.frame->height);
    }
    auto buffer = converter_.convert(*picture.frame, colours, reason);
    if (!buffer) return nullptr;
    if (!description_ || !CMVideoFormatDescriptionMatchesImageBuffer(*description_, *buffer)) {
        if (CMVideoFormatDescriptionCreateForImageBuffer(buffer, &description_) != noErr) throw std::bad_alloc();
    }
    CMSampleTimingInfo timing;
    timing.presentationTimeStamp = timeOf(picture.time, timeBase_);
    timing.decodeTimeStamp = timeOf(picture.decodeTime, timeBase_);
    if (picture.duration > 0) timing.duration = timeOf(picture.duration, timeBase_);
    std::shared_ptr<CMSampleBuffer> sample;
    if (CMSampleBufferCreateReadyWithImageBuffer(std::move(buffer), description_, timing, &sample) != noErr) {
        throw std::bad_alloc();
    }
    return sample;
}

}  // namespace ondrix
