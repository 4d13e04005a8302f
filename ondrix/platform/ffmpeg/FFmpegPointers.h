#pragma once

#include <cerrno>
#include <memory>
#include <new>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

#include <ondrix/platform/os/Logger.h>

/// Owners of the objects of FFmpeg's libraries, and what every use of these libraries needs. Internal: not installed.
namespace ondrix {

struct FFmpegDeleter {
    void operator()(AVFormatContext* context) const noexcept { avformat_close_input(&context); }
    void operator()(AVCodecContext* context) const noexcept { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const noexcept { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const noexcept { av_frame_free(&frame); }
    void operator()(SwsContext* context) const noexcept { sws_freeContext(context); }
};

/// Of a file that is read. Streams of a file that is written end with `avformat_free_context`: another owner.
using InputFormatPointer = std::unique_ptr<AVFormatContext, FFmpegDeleter>;
using CodecPointer = std::unique_ptr<AVCodecContext, FFmpegDeleter>;
using PacketPointer = std::unique_ptr<AVPacket, FFmpegDeleter>;
using FramePointer = std::unique_ptr<AVFrame, FFmpegDeleter>;
using ScalerPointer = std::unique_ptr<SwsContext, FFmpegDeleter>;

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

/// Throws std::bad_alloc when `status` is a library's "out of memory"; returns it otherwise.
inline int throwIfOutOfMemory(int status) {
    if (status == AVERROR(ENOMEM)) throw std::bad_alloc();
    return status;
}

/// What a library's negative status means, beginning with a small letter: "no such file or directory".
[[nodiscard]] std::string ffmpegErrorText(int status);

/// Keeps the libraries from writing to standard error. Called before anything else of them; safe from any thread.
void silenceFFmpeg() noexcept;

/// The logger of this component, category "media".
[[nodiscard]] const os::Logger& mediaLogger();

}  // namespace ondrix
