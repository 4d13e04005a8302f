#pragma once

#include <cerrno>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libavutil/mathematics.h>
#include <libswscale/swscale.h>
}

#include <ondrix/platform/coremedia/CMTime.h>
#include <ondrix/platform/os/Logger.h>
#include <ondrix/platform/os/OutOfMemory.h>

/// The inside of the component, which is neither installed nor exported. This file is what all of it needs of FFmpeg's
/// libraries: owners of their objects, their errors, times and formats.
namespace ondrix::ffmpeg {

struct Deleter {
    void operator()(AVFormatContext* context) const noexcept { avformat_close_input(&context); }
    void operator()(AVCodecContext* context) const noexcept { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const noexcept { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const noexcept { av_frame_free(&frame); }
    void operator()(SwsContext* context) const noexcept { sws_freeContext(context); }
};

/// A file that is read. One that is written is closed in another way and needs another owner.
using InputFormatPointer = std::unique_ptr<AVFormatContext, Deleter>;
using CodecPointer = std::unique_ptr<AVCodecContext, Deleter>;
using PacketPointer = std::unique_ptr<AVPacket, Deleter>;
using FramePointer = std::unique_ptr<AVFrame, Deleter>;
using ScalerPointer = std::unique_ptr<SwsContext, Deleter>;

[[nodiscard]] inline PacketPointer makePacket() {
    PacketPointer packet(av_packet_alloc());
    if (!packet) throw std::bad_alloc();
    return packet;
}

[[nodiscard]] inline FramePointer makeFrame() {
    FramePointer frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    return frame;
}

/// The reason that callers are given for std::bad_alloc.
inline constexpr const char* outOfMemory = "out of memory";

/// Runs what makes an object, `operation(reason)`, and returns it. Null where that failed, with the reason that it
/// gave, or that of its exception, in `error`, which may be null.
template <class Operation>
auto orReason(NSError* error, Operation&& operation) -> decltype(operation(std::declval<std::string&>())) {
    return os::orAbsent(error, [&]() -> decltype(operation(std::declval<std::string&>())) {
        std::string reason;
        try {
            if (auto result = operation(reason)) return result;
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& exception) {
            reason = exception.what();
        }
        if (error != nullptr) *error = NSError(std::move(reason));
        return nullptr;
    });
}

/// A copy of why something failed; without memory for its text, that.
[[nodiscard]] inline std::optional<NSError> copyOf(const std::optional<NSError>& error) noexcept {
    try {
        return error;
    } catch (const std::bad_alloc&) {
        return NSError(outOfMemory);
    }
}

/// What a library's negative status means, beginning with a small letter: "no such file or directory".
[[nodiscard]] std::string errorText(int status);

/// Throws std::bad_alloc when `status` is a library's "out of memory"; returns it otherwise.
inline int throwIfOutOfMemory(int status) {
    if (status == AVERROR(ENOMEM)) throw std::bad_alloc();
    return status;
}

/// Why a movie can't be written, on its way to the caller's `NSError`.
class WritingFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    /// "`what`: " and what the library's negative status means.
    WritingFailure(const std::string& what, int status) : runtime_error(what + ": " + errorText(status)) {}
};

/// Throws std::bad_alloc or `WritingFailure` for a negative status; returns it otherwise.
inline int checkWriting(const char* what, int status) {
    if (throwIfOutOfMemory(status) < 0) throw WritingFailure(what, status);
    return status;
}

/// The exact time; invalid for ticks that aren't known.
[[nodiscard]] inline CMTime timeOf(std::int64_t ticks, AVRational timeBase) {
    std::int64_t value = 0;
    if (ticks == AV_NOPTS_VALUE || __builtin_mul_overflow(ticks, std::int64_t{timeBase.num}, &value)) {
        return kCMTimeInvalid;
    }
    return CMTimeMake(value, timeBase.den);
}

/// The last tick at `time`, which must be numeric, or before.
[[nodiscard]] inline std::int64_t ticksAt(CMTime time, AVRational timeBase) {
    return av_rescale_q_rnd(time.value, {1, time.timescale}, timeBase, AV_ROUND_DOWN);
}

/// Pixels of the largest side that pictures may have.
inline constexpr int largestSide = 16384;

/// The same order of the same numbers: YUV420P for YUVJ420P, which differs only in that it means full range by itself.
[[nodiscard]] AVPixelFormat withoutRange(AVPixelFormat format);
[[nodiscard]] inline bool meansFullRange(AVPixelFormat format) {
    return withoutRange(format) != format;
}

/// Keeps the libraries from writing to standard error. Called before anything else of them; safe from any thread.
void silenceLibraries() noexcept;

/// The logger of this component, category "media".
[[nodiscard]] const os::Logger& logger() noexcept;

}  // namespace ondrix::ffmpeg
