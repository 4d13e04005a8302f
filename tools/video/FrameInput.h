#pragma once

#include <memory>
#include <optional>
#include <string>

#include <ondrix/frames/FrameTexture.h>
#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/platform/ffmpeg/LiveSource.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>

#include "tools/drawing/Session.h"
#include "tools/system/Interruption.h"

namespace ondrix::tools {

/// Whether a live source is a device, other than "lavfi", which computes its pictures and needs none.
[[nodiscard]] bool isCamera(const std::string& name);

/// How the program reads movies: until `interruption`, which must outlive them.
[[nodiscard]] MovieOptions movieOptions(bool allowsPlaylists, const Interruption& interruption);
/// Throws why `name` couldn't be opened or read: `Interrupted` where that is the reason, else a `Failure`.
[[noreturn]] void failToRead(const std::string& name, const MovieOptions& options, const std::string& reason);

/// The frames of a movie file, or of a live source given as "DEVICE:NAME". Failures are `Failure`s that name it, or
/// `Interrupted`.
class FrameInput {
public:
    FrameInput(std::string name, MovieOptions options);

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    [[nodiscard]] const MovieInformation& information() const;
    /// Null at the end, also when an error is why. A live source's times count from its first frame.
    [[nodiscard]] std::shared_ptr<CMSampleBuffer> next();
    /// The frame on screen so many seconds after the movie's beginning. A failure beyond its end, and for live sources.
    [[nodiscard]] std::shared_ptr<CMSampleBuffer> frameAt(double seconds);
    /// Fails when the frames ended because of an error.
    void checkEnd() const;
    /// Frames that were damaged, or that came faster than they were taken.
    [[nodiscard]] std::int64_t lostFrameCount() const;
    /// Whether the interruption has ended the reading.
    [[nodiscard]] bool isCancelled() const;
    /// Ends a `next()` that is waiting. Safe to use from any thread.
    void cancel();

private:
    [[nodiscard]] std::shared_ptr<CMSampleBuffer> sinceFirst(const CMSampleBuffer& frame);

    std::string name_;
    MovieOptions options_;
    std::shared_ptr<MovieReader> reader_;
    std::shared_ptr<LiveSource> live_;  ///< one of the two
    std::optional<CMTime> first_;       ///< time of a live source's first frame
};

/// A texture for the frames of `file`. Failures are put down to that.
[[nodiscard]] std::shared_ptr<FrameTexture> makeFrameTexture(const std::shared_ptr<Device>& device,
                                                             const std::string& file);
/// Records the conversion of a frame, which the texture shows from now on.
void show(FrameTexture& texture, const CMSampleBuffer& frame, MTLCommandBuffer& commandBuffer, const std::string& file);

}  // namespace ondrix::tools
