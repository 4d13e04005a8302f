#pragma once

#include <memory>
#include <string>

#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/platform/ffmpeg/PictureConverter.h>
#include <ondrix/platform/ffmpeg/PictureDecoder.h>

namespace ondrix {

/// Makes sample buffers of decoded pictures. Internal; for one thread at a time. Throws std::bad_alloc.
class SampleMaker {
public:
    /// `name` is what messages call the movie.
    SampleMaker(const AVStream& stream, MovieFrameFormat format, std::string name);

    /// Null with the reason.
    [[nodiscard]] std::shared_ptr<CMSampleBuffer> make(const DecodedPicture& picture, std::string& reason);

private:
    AVRational timeBase_;
    std::string name_;
    PictureConverter converter_;
    std::shared_ptr<CMFormatDescription> description_;  ///< of the last sample
    bool hasToldGuess_ = false;
};

}  // namespace ondrix
