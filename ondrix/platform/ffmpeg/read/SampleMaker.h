#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/platform/corevideo/PixelBufferLock.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>
#include <ondrix/platform/ffmpeg/read/BGRAConverter.h>
#include <ondrix/platform/ffmpeg/read/DecoderPlanes.h>
#include <ondrix/platform/ffmpeg/read/PictureDecoder.h>
#include <ondrix/platform/ffmpeg/read/PictureProperties.h>

namespace ondrix::ffmpeg {

/// Turns decoded pictures into sample buffers, upright: as they were decoded, as '420v' and '420f' without any change
/// to the numbers, or in 'BGRA', in pixel buffers from a pool. For one thread at a time. Throws std::bad_alloc.
class SampleMaker {
public:
    /// `name` is what messages call the movie.
    SampleMaker(const MovieInput& input, MovieFrameFormat format, std::string name);

    /// Null with the reason.
    [[nodiscard]] std::shared_ptr<CMSampleBuffer> make(const DecodedPicture& picture, std::string& reason);

private:
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> convert(const AVFrame& frame, const PictureColours& colours,
                                                         std::string& reason);
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> convertToBGRA(const AVFrame& frame, const PictureColours& colours,
                                                               PictureOrientation orientation, std::string& reason);
    void copyNative(const AVFrame& frame, PictureOrientation orientation, const PixelBufferLock& pixels);

    const AVRational timeBase_;
    const MovieFrameFormat format_;
    const PictureOrientation streamOrientation_;
    const std::string peakLuminance_;  ///< cd/m2, as the stream says; empty where it doesn't
    const std::int64_t maximumPixels_;
    const std::string name_;
    PictureBuffers buffers_;
    DecoderPlanes planes_;
    BGRAConverter bgra_;
    FramePointer scratch_;                              ///< what isn't turned yet: BGRA, or pairs of chroma
    std::shared_ptr<CMFormatDescription> description_;  ///< of the last sample
    bool hasToldGuess_ = false;
};

}  // namespace ondrix::ffmpeg
