#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include <ondrix/platform/coremedia/CMTime.h>
#include <ondrix/platform/corevideo/CVAttributes.h>
#include <ondrix/platform/corevideo/CVPixelBuffer.h>

namespace ondrix {

/// Decoded frames of a player item, waiting for their time: a short queue that the item fills ahead and a consumer
/// empties, each from a thread of its own. Safe to use from any thread.
class AVPlayerItemVideoOutput {
public:
    static constexpr std::size_t capacity = 4;  ///< frames held at most

    /// `pixelBufferAttributes` says what frames look like; an item serves kCVPixelFormatType_32BGRA, and no frames
    /// otherwise.
    [[nodiscard]] static std::shared_ptr<AVPlayerItemVideoOutput> create(CVAttributes pixelBufferAttributes);

    [[nodiscard]] const CVAttributes& pixelBufferAttributes() const noexcept { return attributes_; }

    /// True when there is a frame to show at that time that hasn't been copied.
    [[nodiscard]] bool hasNewPixelBuffer(CMTime forItemTime) const;
    /// The newest frame that is due at that time; older ones are dropped. Null when none is. `itemTimeForDisplay`,
    /// which may be null, receives the frame's own time.
    [[nodiscard]] std::shared_ptr<CVPixelBuffer> copyPixelBuffer(CMTime forItemTime, CMTime* itemTimeForDisplay);

    /// For the item. Appends a frame; times must rise. False when the queue is full, and without memory.
    [[nodiscard]] bool append(std::shared_ptr<CVPixelBuffer> pixelBuffer, CMTime time);
    /// For the item. Drops every frame that another due at `itemTime` follows: nobody will ask for it.
    void dropFramesBefore(CMTime itemTime);
    /// For the item. Drops every frame: the time jumped.
    void flush();
    /// For the item. Called, on any thread, whenever frames were taken; empty for nobody.
    void setOnSpace(std::function<void()> onSpace);

private:
    struct Frame {
        std::shared_ptr<CVPixelBuffer> pixelBuffer;
        CMTime time;
    };

    explicit AVPlayerItemVideoOutput(CVAttributes pixelBufferAttributes);

    const CVAttributes attributes_;
    mutable std::mutex mutex_;  ///< guards everything below; not held while `onSpace_` runs
    std::deque<Frame> frames_;
    std::shared_ptr<const std::function<void()>> onSpace_;  ///< null for nobody
};

}  // namespace ondrix
