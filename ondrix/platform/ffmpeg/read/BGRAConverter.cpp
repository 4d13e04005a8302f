extern "C" {
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

bool BGRAConverter::convert(const AVFrame& frame, const PictureColours& colours, AVFrame& target, std::string& reason) {
    // The scaler writes planes twice as fast as pixels, and only for planes does it heed the range of grey pictures.
    const bool goesByPlanes = colours.matrix != AVCOL_SPC_RGB && !hasAlpha(frame.format);
    if (goesByPlanes) preparePicture(planes_, AV_PIX_FMT_GBRP, frame.width, frame.height);
    if (!scaler_.scale(frame, colours, goesByPlanes ? *planes_ : target, reason)) return false;
    for (std::int64_t y = 0; goesByPlanes && y < frame.height; ++y) {
        const auto row = [&](int plane) { return planes_->data[plane] + y * planes_->linesize[plane]; };
        packRow(row(1), row(0), row(2), target.data[0] + y * target.linesize[0], frame.width);
    }
    return true;
}

}  // namespace ondrix::ffmpeg
