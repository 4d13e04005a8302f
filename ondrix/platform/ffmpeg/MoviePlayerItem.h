#pragma once

#include <memory>
#include <optional>

#include <ondrix/platform/avfoundation/AVPlayerItem.h>
#include <ondrix/platform/ffmpeg/MovieOptions.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>
#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/foundation/URL.h>

namespace ondrix {

/// A movie file for an `AVPlayer`. A thread of its own decodes ahead as far as the outputs have room, upright, and ends
/// with the item. Frames are in BGRA unless another format is asked for. Times count from the movie's first frame.
class MoviePlayerItem : public AVPlayerItem {
public:
    /// Null, with the reason, as for `MovieReader::open`.
    [[nodiscard]] static std::shared_ptr<MoviePlayerItem> create(const URL& file, NSError* error);
    [[nodiscard]] static std::shared_ptr<MoviePlayerItem> create(const URL& file, const MovieOptions& options,
                                                                 NSError* error);

    /// With frames as `MovieReader` has them in that format. Other formats than BGRA reach those outputs only that ask
    /// for none.
    [[nodiscard]] static std::shared_ptr<MoviePlayerItem> create(const URL& file, MovieFrameFormat format,
                                                                 const MovieOptions& options, NSError* error);

    /// Why the movie could not be read to its end; nothing as long as it can. Safe to use from any thread.
    [[nodiscard]] virtual std::optional<NSError> error() const = 0;
};

}  // namespace ondrix
