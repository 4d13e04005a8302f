#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/platform/ffmpeg/MovieOptions.h>
#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/foundation/URL.h>

namespace ondrix {

struct MovieWriterSettings {
    std::int64_t width = 0;      ///< pixels, 2 to 16384, even
    std::int64_t height = 0;     ///< pixels, 2 to 16384, even
    std::int32_t timescale = 0;  ///< ticks a second in which times are written: that of the frames keeps them exact
    double frameRate = 0;        ///< a hint for the encoder; 0 when not known
    std::string container;       ///< file ending that names the format, such as "mp4"; empty: that of the file
    /// Constant quality, 0 (best) to 51, where the encoder has one; 23 is the usual.
    int quality = 23;
    /// Encoder's own speed setting where it has one ("ultrafast" to "veryslow"); empty: its default.
    std::string preset;
    int threadCount = 0;  ///< of the encoder; 0: as many as it finds best
    /// Bytes that H.264's encoder may hold at once, about. Where the picture is so large that its usual way takes more,
    /// it looks less far ahead, has fewer threads and at last compares with one picture only: the file gets larger.
    std::int64_t maximumEncodingMemory = std::int64_t{640} << 20;
    /// Sound, subtitles, chapters and descriptions are copied from this movie unchanged, as far as the format can hold
    /// them, which is logged, and as far as the pictures go; to its end if it has no later picture itself. Empty: none.
    std::optional<URL> copyOthersFrom;
    MovieOptions copyOptions = {};  ///< how that movie, which must be a regular file, is opened
};

/// Writes pictures to a movie file, encoded by H.264 or, where the file's format can't hold that with its times, by the
/// format's usual encoder. Frames are written as BT.709 in video range, with exactly their times; formats with ticks of
/// their own take the nearest (Matroska: milliseconds; AVI: frames). A movie that begins before zero is moved to begin
/// there, sound with it. For one thread at a time.
class MovieWriter {
public:
    /// Null, with the reason: unknown format, missing encoder, sides out of range, file that can't be made.
    [[nodiscard]] static std::shared_ptr<MovieWriter> create(const URL& file, const MovieWriterSettings& settings,
                                                             NSError* error);
    /// Without `finish` the file is left incomplete.
    virtual ~MovieWriter() = default;

    /// A frame in 'BGRA', '420v', '420f' or 'y420' (BT.709; the last in video range) of the writer's size, with a
    /// presentation time later than the one before. Its pixels aren't read any more when this returns. False after a
    /// failure, which `error()` tells.
    [[nodiscard]] virtual bool append(const CMSampleBuffer& frame) = 0;
    /// Writes what is still on its way and completes the file; no frame may follow. False after a failure.
    [[nodiscard]] virtual bool finish() = 0;
    [[nodiscard]] virtual std::optional<NSError> error() const = 0;
    /// Of frames that give it the least work: '420v', 'y420' or 'BGRA'.
    [[nodiscard]] virtual OSType pixelFormat() const { return kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange; }
};

}  // namespace ondrix
