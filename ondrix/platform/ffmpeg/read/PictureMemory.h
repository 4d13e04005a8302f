#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include <ondrix/platform/ffmpeg/FFmpeg.h>

namespace ondrix::ffmpeg {

/// Counts the bytes of the pictures that a decoder holds or has handed out, and refuses those beyond a limit. Must
/// outlive the decoder; pictures may outlive it.
class PictureMemory {
public:
    /// Throws std::bad_alloc.
    explicit PictureMemory(std::int64_t limit) : count_(std::make_shared<Count>()), limit_(limit) {}
    PictureMemory(const PictureMemory&) = delete;
    PictureMemory& operator=(const PictureMemory&) = delete;

    /// Has a decoder that isn't open yet count its pictures here, and run as many threads as leave room for the
    /// pictures that others refer to.
    void attachTo(AVCodecContext& codec);

    [[nodiscard]] bool isExceeded() const { return count_->isExceeded; }
    [[nodiscard]] std::int64_t limit() const { return limit_; }  ///< bytes

private:
    struct Count {
        std::atomic<std::int64_t> bytes = 0;
        std::atomic<bool> isExceeded = false;
    };
    struct Share;

    static int takePicture(AVCodecContext* codec, AVFrame* frame, int flags);

    const std::shared_ptr<Count> count_;
    const std::int64_t limit_;
};

}  // namespace ondrix::ffmpeg
