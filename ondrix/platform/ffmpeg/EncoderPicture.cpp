#include <algorithm>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <ondrix/platform/ffmpeg/EncoderPicture.h>
#include <ondrix/platform/ffmpeg/NV12Picture.h>
#include <ondrix/platform/ffmpeg/WritingFailure.h>

namespace ondrix {

namespace {

constexpr int alignment = 64;  // bytes

bool contains(const AVPixelFormat* formats, AVPixelFormat wanted) {
    for (; *formats != AV_PIX_FMT_NONE; ++formats) {
        if (*formats == wanted) return true;
    }
    return false;
}

/// "BGRA", or its number where it isn't four letters.
std::string formatName(OSType format) {
    std::string name;
    for (int shift = 24; shift >= 0; shift -= 8) name += static_cast<char>(format >> shift & 0xFF);
    const bool isText = std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~'; });
    return isText ? "'" + name + "'" : std::to_string(format);
}

bool isFullRange(AVPixelFormat format) {
    return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P;
}

}  // namespace

AVPixelFormat EncoderPicture::bestFormat(const AVPixelFormat* formats) {
    for (const AVPixelFormat direct : {AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P}) {
        if (formats == nullptr || contains(formats, direct)) return direct;
    }
    return avcodec_find_best_pix_fmt_of_list(formats, AV_PIX_FMT_BGR0, 0, nullptr);
}

bool EncoderPicture::isYCbCr(AVPixelFormat format) {
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
    return description != nullptr && (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) == 0 &&
           description->nb_components >= 3;
}

EncoderPicture::EncoderPicture(int width, int height, AVPixelFormat format)
    : width_(width), height_(height), format_(format), frame_(makeFrame()) {
    if (format == AV_PIX_FMT_YUV420P) chromaRow_.resize(static_cast<std::size_t>(width));
}

AVFrame& EncoderPicture::fill(CVPixelBuffer& pixelBuffer) {
    const OSType format = CVPixelBufferGetPixelFormatType(pixelBuffer);
    if (!NV12Picture::isSupported(format)) {
        throw WritingFailure("frames in the pixel format " + formatName(format) + " can't be written");
    }
    makeWritable();
    if (format_ == AV_PIX_FMT_NV12 || format_ == AV_PIX_FMT_YUV420P) {
        fillYCbCr(pixelBuffer);
    } else {
        scale(pixelBuffer);
    }
    return *frame_;
}

/// Takes new memory where the encoder still holds that of the frame before.
void EncoderPicture::makeWritable() {
    if (frame_->buf[0] != nullptr && av_frame_is_writable(frame_.get()) > 0) return;
    av_frame_unref(frame_.get());
    frame_->width = width_;
    frame_->height = height_;
    frame_->format = format_;
    if (isYCbCr(format_)) {
        frame_->colorspace = AVCOL_SPC_BT709;
        frame_->color_primaries = AVCOL_PRI_BT709;
        frame_->color_trc = AVCOL_TRC_BT709;
        frame_->color_range = isFullRange(format_) ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    }
    checkWriting("no memory for a frame", av_frame_get_buffer(frame_.get(), alignment));
}

void EncoderPicture::fillYCbCr(CVPixelBuffer& pixelBuffer) {
    const NV12Picture picture(pixelBuffer);
    const auto row = [this](int plane, int y) {
        return frame_->data[plane] + std::int64_t{y} * frame_->linesize[plane];
    };
    for (int y = 0; y < height_; ++y) picture.copyLumaRow(y, row(0, y));
    for (int y = 0; y < height_ / 2; ++y) {
        if (format_ == AV_PIX_FMT_NV12) {
            picture.copyChromaRow(y, row(1, y));
            continue;
        }
        picture.copyChromaRow(y, chromaRow_.data());
        std::uint8_t* const cb = row(1, y);
        std::uint8_t* const cr = row(2, y);
        for (int x = 0; x < width_ / 2; ++x) {
            cb[x] = chromaRow_[static_cast<std::size_t>(2 * x)];
            cr[x] = chromaRow_[static_cast<std::size_t>(2 * x + 1)];
        }
    }
}

void EncoderPicture::scale(CVPixelBuffer& pixelBuffer) {
    const OSType type = CVPixelBufferGetPixelFormatType(pixelBuffer);
    const AVPixelFormat source = type == kCVPixelFormatType_32BGRA ? AV_PIX_FMT_BGR0 : AV_PIX_FMT_NV12;
    const bool isSourceFullRange = type != kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    scaler_.reset(sws_getCachedContext(scaler_.release(), width_, height_, source, width_, height_, format_,
                                       SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr,
                                       nullptr));
    if (!scaler_) throw WritingFailure(std::string("frames can't be turned into ") + av_get_pix_fmt_name(format_));
    const int* const coefficients = sws_getCoefficients(SWS_CS_ITU709);
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(scaler_.get(), coefficients, isSourceFullRange, coefficients, isFullRange(format_), 0, one,
                             one);

    CVPixelBufferLockBaseAddress(pixelBuffer, kCVPixelBufferLock_ReadOnly);
    const std::uint8_t* planes[4] = {};
    int strides[4] = {};
    for (int plane = 0; plane < 2; ++plane) {
        planes[plane] = static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(pixelBuffer, plane));
        strides[plane] = static_cast<int>(CVPixelBufferGetBytesPerRowOfPlane(pixelBuffer, plane));
    }
    sws_scale(scaler_.get(), planes, strides, 0, height_, frame_->data, frame_->linesize);
    CVPixelBufferUnlockBaseAddress(pixelBuffer, kCVPixelBufferLock_ReadOnly);
}

}  // namespace ondrix
