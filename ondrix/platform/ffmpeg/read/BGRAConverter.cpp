#include <new>

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <ondrix/platform/ffmpeg/read/BGRAConverter.h>

namespace ondrix::ffmpeg {

namespace {

bool hasAlpha(int format) {
    const AVPixFmtDescriptor* const descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return descriptor != nullptr && (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

void packRow(const std::uint8_t* blue, const std::uint8_t* green, const std::uint8_t* red, std::uint8_t* target,
             std::int64_t count) {
    for (std::int64_t index = 0; index < count; ++index) {
        target[4 * index] = blue[index];
        target[4 * index + 1] = green[index];
        target[4 * index + 2] = red[index];
        target[4 * index + 3] = 255;
    }
}

}  // namespace

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

bool BGRAConverter::convert(const AVFrame& frame, const PictureColours& colours, AVFrame& target, std::string& reason) {
    // The scaler writes planes twice as fast as pixels, and only for planes does it heed the range of grey pictures.
    const bool goesByPlanes = colours.matrix != AVCOL_SPC_RGB && !hasAlpha(frame.format);
    const Key key{frame.width,
                  frame.height,
                  withoutRange(static_cast<AVPixelFormat>(frame.format)),  // other formats are full range to the scaler
                  goesByPlanes ? AV_PIX_FMT_GBRP : AV_PIX_FMT_BGRA,
                  colours.matrix,
                  colours.isFullRange};
    if (!prepareScaler(key, reason)) return false;
    const FramePointer source = makeFrame();
    throwIfOutOfMemory(av_frame_ref(source.get(), &frame));
    source->format = key.format;
    if (goesByPlanes) preparePicture(planes_, AV_PIX_FMT_GBRP, frame.width, frame.height);
    AVFrame& scaled = goesByPlanes ? *planes_ : target;
    const int status = throwIfOutOfMemory(sws_scale_frame(scaler_.get(), &scaled, source.get()));
    if (status < 0) {
        reason = "a picture can't be converted: " + errorText(status);
        return false;
    }
    for (std::int64_t y = 0; goesByPlanes && y < frame.height; ++y) {
        const auto row = [&](int plane) { return planes_->data[plane] + y * planes_->linesize[plane]; };
        packRow(row(1), row(0), row(2), target.data[0] + y * target.linesize[0], frame.width);
    }
    return true;
}

bool BGRAConverter::prepareScaler(const Key& key, std::string& reason) {
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
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(scaler_.get(), sws_getCoefficients(key.matrix), key.isFullRange ? 1 : 0,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, one, one);
    key_ = key;
    return true;
}

}  // namespace ondrix::ffmpeg
