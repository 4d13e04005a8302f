#include <algorithm>
#include <new>
#include <thread>

extern "C" {
#include <libavutil/imgutils.h>
}

#include <ondrix/platform/ffmpeg/read/PictureMemory.h>

namespace ondrix::ffmpeg {

namespace {

/// Of the pictures that fit into memory, so many for each thread leave room for those that others refer to.
constexpr std::int64_t picturesPerThread = 4;
/// More threads than this don't make any decoder faster.
constexpr std::int64_t maximumThreads = 16;

/// Of a picture with rows as decoders align them.
std::int64_t bytesOf(int width, int height, AVPixelFormat format) {
    const int known = av_image_get_buffer_size(format, FFALIGN(width, 64), FFALIGN(height, 64), 64);
    return known > 0 ? known : std::int64_t{width} * height * 4;
}

}  // namespace

/// A picture's part of the count, given back with the picture.
struct PictureMemory::Share {
    ~Share() { count->bytes -= bytes; }
    std::shared_ptr<Count> count;
    std::int64_t bytes;
};

void PictureMemory::attachTo(AVCodecContext& codec) {
    codec.opaque = this;
    codec.get_buffer2 = takePicture;
    const std::int64_t pictureBytes = std::max<std::int64_t>(1, bytesOf(codec.width, codec.height, codec.pix_fmt));
    const std::int64_t fitting = limit_ / pictureBytes / picturesPerThread;
    const std::int64_t wanted = std::int64_t{std::thread::hardware_concurrency()} + 1;
    codec.thread_count = static_cast<int>(std::clamp<std::int64_t>(std::min(fitting, wanted), 1, maximumThreads));
}

int PictureMemory::takePicture(AVCodecContext* codec, AVFrame* frame, int flags) {
    const auto& memory = *static_cast<const PictureMemory*>(codec->opaque);
    const std::int64_t bytes = bytesOf(frame->width, frame->height, static_cast<AVPixelFormat>(frame->format));
    Count& count = *memory.count_;
    if (count.bytes.fetch_add(bytes) > memory.limit_ - bytes) {
        count.bytes -= bytes;
        count.isExceeded = true;
        return AVERROR(EINVAL);
    }
    auto* const share = new (std::nothrow) Share{memory.count_, bytes};
    if (share == nullptr) {
        count.bytes -= bytes;
        return AVERROR(ENOMEM);
    }
    const auto release = [](void*, std::uint8_t* released) { delete reinterpret_cast<Share*>(released); };
    frame->opaque_ref = av_buffer_create(reinterpret_cast<std::uint8_t*>(share), sizeof *share, release, nullptr, 0);
    if (frame->opaque_ref == nullptr) {
        delete share;
        return AVERROR(ENOMEM);
    }
    const int status = avcodec_default_get_buffer2(codec, frame, flags);
    if (status < 0) av_buffer_unref(&frame->opaque_ref);
    return status;
}

}  // namespace ondrix::ffmpeg
