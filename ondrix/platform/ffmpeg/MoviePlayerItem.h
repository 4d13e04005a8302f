#pragma once

#include <memory>
#include <optional>

#include <ondrix/platform/avfoundation/AVPlayerItem.h>
#include <ondrix/platform/ffmpeg/MovieOptions.h>
#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/foundation/URL.h>

namespace ondrix {

/// A movie file for an `AVPlayer`. A thread of its own decodes ahead as far as the outputs have room, in BGRA, upright,
/// and ends with the item. Times count from the movie's first frame.
class MoviePlayerItem : public AVPlayerItem {
public:
    /// Null, with the reason, as for `MovieReader::open`.
    [[nodiscard]] static std::shared_ptr<MoviePlayerItem> create(const URL& file, NSError* error);
    [[nodiscard]] static std::shared_ptr<MoviePlayerItem> create(const URL& file, const MovieOptions& options,
                                                                 NSError* error);

    /// Why the movie could not be read to its end; nothing as long as it can. Safe to use from any thread.
    [[nodiscard]] virtual std::optional<NSError> error() const = 0;
};

}  // namespace ondrix
