#pragma once

#include <cstdint>
#include <map>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/ffmpeg/EncoderPicture.h>
#include <ondrix/platform/ffmpeg/FFmpegPointers.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>

namespace ondrix {

/// True for formats that can hold decode times before zero. Pictures that are decoded long before they are shown have
/// such.
[[nodiscard]] bool holdsTimesBeforeZero(const AVOutputFormat& format);

/// Encodes pictures for a file format: H.264 where it can hold that with its times, otherwise the format's usual codec.
/// Operations throw std::bad_alloc and `WritingFailure`. Internal: not installed.
class VideoEncoder {
public:
    VideoEncoder(const AVOutputFormat& format, const MovieWriterSettings& settings);

    /// Times go in and come out in its `time_base`.
    [[nodiscard]] const AVCodecContext& context() const { return *codec_; }

    /// `duration` goes with the picture to its packet.
    void encode(CVPixelBuffer& pixelBuffer, std::int64_t time, std::int64_t duration);
    /// Makes the encoder hand out what it holds; no picture may follow.
    void drain();
    /// False when there is no packet before the next picture, or none at all after `drain`.
    [[nodiscard]] bool receive(AVPacket& packet);

private:
    CodecPointer codec_;
    EncoderPicture picture_;
    std::map<std::int64_t, std::int64_t> durations_;  ///< of pictures in the encoder, by their times
};

}  // namespace ondrix
