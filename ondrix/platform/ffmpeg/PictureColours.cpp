extern "C" {
#include <libavutil/pixdesc.h>
}

#include <ondrix/platform/ffmpeg/PictureColours.h>

namespace ondrix {

namespace {

/// From these sides on a picture that doesn't say its matrix is taken for high definition.
constexpr int highDefinitionWidth = 1280;
constexpr int highDefinitionHeight = 720;

bool hasFullRangeFormat(AVPixelFormat format) {
    return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P ||
           format == AV_PIX_FMT_YUVJ440P || format == AV_PIX_FMT_YUVJ411P;
}

bool isMatrixKnown(AVColorSpace space) {
    switch (space) {
        case AVCOL_SPC_BT709:
        case AVCOL_SPC_FCC:
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
        case AVCOL_SPC_SMPTE240M:
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return true;
        default:
            return false;
    }
}

PictureColours describe(AVPixelFormat format, AVColorSpace space, AVColorRange range, int width, int height) {
    const AVPixFmtDescriptor* const descriptor = av_pix_fmt_desc_get(format);
    PictureColours result;
    if (descriptor == nullptr || (descriptor->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0) return result;
    // Grey has no chroma that a matrix could mix in; without a word on its range, it is that of grey pictures.
    const bool isGrey = descriptor->nb_components < 3;
    result.isFullRange =
        range == AVCOL_RANGE_JPEG || hasFullRangeFormat(format) || (isGrey && range == AVCOL_RANGE_UNSPECIFIED);
    if (isMatrixKnown(space)) {
        result.matrix = space;
        return result;
    }
    const bool isHighDefinition = width >= highDefinitionWidth || height >= highDefinitionHeight;
    result.matrix = isHighDefinition ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    result.isGuessed = !isGrey;
    return result;
}

}  // namespace

PictureColours PictureColours::of(const AVFrame& frame) {
    return describe(static_cast<AVPixelFormat>(frame.format), frame.colorspace, frame.color_range, frame.width,
                    frame.height);
}

PictureColours PictureColours::of(const AVCodecParameters& parameters) {
    return describe(static_cast<AVPixelFormat>(parameters.format), parameters.color_space, parameters.color_range,
                    parameters.width, parameters.height);
}

}  // namespace ondrix
