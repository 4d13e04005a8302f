#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>

namespace ondrix {

/// Frames of a camera or another device as they come. A thread of its own takes them; whoever is slow finds the newest,
/// the oldest are dropped. Safe to use from any thread.
class LiveSource {
public:
    static constexpr std::size_t capacity = 4;  ///< frames held at most

    /// True for "DEVICE:NAME" where DEVICE is a kind of device that this machine's libraries can open, such as
    /// "v4l2:/dev/video0" or "lavfi:testsrc2".
    [[nodiscard]] static bool isLiveName(const std::string& name);
    /// Starts taking frames. Null, with the reason.
    [[nodiscard]] static std::shared_ptr<LiveSource> open(const std::string& name, MovieFrameFormat format,
                                                          NSError* error);
    virtual ~LiveSource() = default;

    [[nodiscard]] virtual const MovieInformation& information() const = 0;
    /// Waits for a frame. Null once the source has ended or `cancel` was called, with the frames before it handed out.
    [[nodiscard]] virtual std::shared_ptr<CMSampleBuffer> copyNextSampleBuffer() = 0;
    /// The newest frame, older ones being dropped; null at once when none came since the last call.
    [[nodiscard]] virtual std::shared_ptr<CMSampleBuffer> copyNewestSampleBuffer() = 0;
    [[nodiscard]] virtual std::int64_t droppedFrameCount() const = 0;
    [[nodiscard]] virtual std::optional<NSError> error() const = 0;
    /// True when no more frames will come and none is left.
    [[nodiscard]] virtual bool isEnded() const = 0;
    virtual void cancel() = 0;
};

}  // namespace ondrix
