#include <new>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <ondrix/platform/ffmpeg/read/PictureScaler.h>

namespace ondrix::ffmpeg {

void preparePicture(FramePointer& frame, AVPixelFormat format, int width, int height) {
    if (frame && frame->format == format && frame->width == width && frame->height == height) return;
    frame = makeFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) >= 0) return;
    frame.reset();
    throw std::bad_alloc();
}

FramePointer pictureIn(const PixelBufferLock& pixels, AVPixelFormat format) {
    FramePointer frame = makeFrame();
    frame->format = format;
    frame->width = static_cast<int>(pixels.width());
    frame->height = static_cast<int>(pixels.height());
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
        frame->data[plane] = pixels.bytes(plane);
        frame->linesize[plane] = static_cast<int>(pixels.bytesPerRow(plane));
    }
    frame->buf[0] = av_buffer_create(
        frame->data[0], static_cast<std::size_t>(pixels.bytesPerRow() * pixels.height()), [](void*, std::uint8_t*) {},
        nullptr, 0);
    if (frame->buf[0] == nullptr) throw std::bad_alloc();
    return frame;
}

bool PictureScaler::scale(const AVFrame& frame, const PictureColours& colours, AVFrame& target, std::string& reason) {
    const Key key{frame.width,
                  frame.height,
                  withoutRange(static_cast<AVPixelFormat>(frame.format)),  // other formats are full range to the scaler
                  target.format,
                  colours.matrix,
                  colours.isFullRange};
    if (!prepare(key, reason)) return false;
    const FramePointer source = makeFrame();
    throwIfOutOfMemory(av_frame_ref(source.get(), &frame));
    source->format = key.format;
    const int status = throwIfOutOfMemory(sws_scale_frame(scaler_.get(), &target, source.get()));
    if (status >= 0) return true;
    reason = "a picture can't be converted: " + errorText(status);
    return false;
}

bool PictureScaler::prepare(const Key& key, std::string& reason) {
    if (scaler_ && key == key_) return true;
    scaler_.reset(sws_alloc_context());
    if (!scaler_) throw std::bad_alloc();
    const auto set = [&](const char* name, std::int64_t value) { av_opt_set_int(scaler_.get(), name, value, 0); };
    set("srcw", key.width);
    set("srch", key.height);
    set("src_format", key.format);
    set("dstw", key.width);
    set("dsth", key.height);
    set("dst_format", key.targetFormat);
    set("sws_flags", SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP);
    set("threads", 0);
    const int status = throwIfOutOfMemory(sws_init_context(scaler_.get(), nullptr, nullptr));
    if (status < 0) {
        const char* const name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(key.format));
        reason = std::string("no conversion from the pixel format ") + (name != nullptr ? name : "of the pictures");
        scaler_.reset();
        return false;
    }
    const AVPixFmtDescriptor& target = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(key.targetFormat));
    const bool isRGB = (target.flags & AV_PIX_FMT_FLAG_RGB) != 0;
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(scaler_.get(), sws_getCoefficients(key.matrix), key.isFullRange ? 1 : 0,
                             sws_getCoefficients(isRGB ? SWS_CS_DEFAULT : static_cast<int>(key.matrix)),
                             isRGB || key.isFullRange ? 1 : 0, 0, one, one);
    key_ = key;
    return true;
}

}  // namespace ondrix::ffmpeg
