#pragma once

#include <cstdint>
#include <map>

#include <ondrix/platform/ffmpeg/MovieWriter.h>
#include <ondrix/platform/ffmpeg/write/EncoderPicture.h>

namespace ondrix::ffmpeg {

/// The range of a movie's quality ends here; 0 is the best.
inline constexpr int worstQuality = 51;

/// True for formats that can hold decode times before zero, which pictures need that are decoded long before they are
/// shown.
[[nodiscard]] bool holdsTimesBeforeZero(const AVOutputFormat& format);

/// Encodes pictures for a file format: H.264 where it can hold that with its times, otherwise the format's usual codec.
/// Operations throw std::bad_alloc and `WritingFailure`.
class VideoEncoder {
public:
    VideoEncoder(const AVOutputFormat& format, const MovieWriterSettings& settings);

    /// The encoder. Times are in its `time_base`.
    [[nodiscard]] const AVCodecContext& context() const { return *codec_; }

    /// The picture's packet will have `duration`.
    void encode(const std::shared_ptr<CVPixelBuffer>& pixelBuffer, std::int64_t time, std::int64_t duration);
    /// Makes the encoder hand out what it holds; no picture may follow.
    void drain();
    /// False when there is no packet before the next picture, or none at all after `drain`.
    [[nodiscard]] bool receive(AVPacket& packet);

private:
    CodecPointer codec_;
    EncoderPicture picture_;
    std::map<std::int64_t, std::int64_t> durations_;  ///< of pictures in the encoder, by their times
};

}  // namespace ondrix::ffmpeg
