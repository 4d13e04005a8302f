#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>
#include <numbers>
#include <string_view>

extern "C" {
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/pixdesc.h>
}

#include <ondrix/platform/corevideo/CVBuffer.h>
#include <ondrix/platform/ffmpeg/read/PictureProperties.h>

namespace ondrix::ffmpeg {

namespace {

/// A picture that doesn't say its matrix is high definition, and so BT.709, when a side is at least so long.
constexpr int highDefinitionWidth = 1280;
constexpr int highDefinitionHeight = 720;

/// What a file says of itself, which need not be a value of the enumeration; as such it mustn't even be read.
template <typename Enumeration>
Enumeration known(const Enumeration& said, Enumeration end, Enumeration otherwise) {
    unsigned number = 0;
    static_assert(sizeof number == sizeof said);
    std::memcpy(&number, &said, sizeof number);
    return number < static_cast<unsigned>(end) ? static_cast<Enumeration>(number) : otherwise;
}
AVColorSpace known(const AVColorSpace& matrix) {
    return known(matrix, AVCOL_SPC_NB, AVCOL_SPC_UNSPECIFIED);
}
AVColorRange known(const AVColorRange& range) {
    return known(range, AVCOL_RANGE_NB, AVCOL_RANGE_UNSPECIFIED);
}

AVColorTransferCharacteristic known(const AVColorTransferCharacteristic& transfer) {
    return known(transfer, AVCOL_TRC_NB, AVCOL_TRC_UNSPECIFIED);
}
AVColorPrimaries known(const AVColorPrimaries& primaries) {
    return known(primaries, AVCOL_PRI_NB, AVCOL_PRI_UNSPECIFIED);
}
AVChromaLocation known(const AVChromaLocation& location) {
    return known(location, AVCHROMA_LOC_NB, AVCHROMA_LOC_UNSPECIFIED);
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
    // Grey pictures need no matrix. Where they don't say their range, it is the full one, as in picture files.
    const bool isGrey = descriptor->nb_components < 3;
    result.isFullRange =
        range == AVCOL_RANGE_JPEG || meansFullRange(format) || (isGrey && range == AVCOL_RANGE_UNSPECIFIED);
    if (isMatrixKnown(space)) {
        result.matrix = space;
        return result;
    }
    const bool isHighDefinition = width >= highDefinitionWidth || height >= highDefinitionHeight;
    result.matrix = isHighDefinition ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    result.isGuessed = !isGrey;
    return result;
}

std::string_view matrixText(AVColorSpace matrix) {
    switch (matrix) {
        case AVCOL_SPC_BT709:
            return kCVImageBufferYCbCrMatrix_ITU_R_709_2;
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return kCVImageBufferYCbCrMatrix_ITU_R_2020;
        case AVCOL_SPC_RGB:
            return {};
        default:
            return kCVImageBufferYCbCrMatrix_ITU_R_601_4;
    }
}

/// What isn't for HDR is shown as it is.
std::string_view transferText(AVColorTransferCharacteristic transfer) {
    switch (transfer) {
        case AVCOL_TRC_SMPTE2084:
            return kCVImageBufferTransferFunction_SMPTE_ST_2084_PQ;
        case AVCOL_TRC_ARIB_STD_B67:
            return kCVImageBufferTransferFunction_ITU_R_2100_HLG;
        case AVCOL_TRC_IEC61966_2_1:
            return kCVImageBufferTransferFunction_sRGB;
        case AVCOL_TRC_UNSPECIFIED:
            return {};
        default:
            return kCVImageBufferTransferFunction_ITU_R_709_2;
    }
}

/// Empty for those of older television, too, which are taken for those of BT.709.
std::string_view primariesText(AVColorPrimaries primaries) {
    switch (primaries) {
        case AVCOL_PRI_BT709:
            return kCVImageBufferColorPrimaries_ITU_R_709_2;
        case AVCOL_PRI_SMPTE432:
            return kCVImageBufferColorPrimaries_P3_D65;
        case AVCOL_PRI_BT2020:
            return kCVImageBufferColorPrimaries_ITU_R_2020;
        default:
            return {};
    }
}

/// Rows that share a sample of chroma have it amid them, whatever the picture says; so have columns once they were rows
/// or changed sides.
std::string_view sitingText(AVChromaLocation location, PictureOrientation orientation) {
    const bool keepsColumns = orientation.isUpright() || (orientation.isMirrored && orientation.clockwiseQuarters == 2);
    const bool isCentred = location == AVCHROMA_LOC_CENTER || location == AVCHROMA_LOC_TOP ||
                           location == AVCHROMA_LOC_BOTTOM || !keepsColumns;
    return isCentred ? kCVImageBufferChromaLocation_Center : kCVImageBufferChromaLocation_Left;
}

/// Empty when it isn't known.
std::string luminanceText(const std::uint8_t* display, std::size_t size) {
    AVMasteringDisplayMetadata metadata{};
    if (display == nullptr || size < sizeof metadata) return {};
    std::memcpy(&metadata, display, sizeof metadata);
    if (metadata.has_luminance == 0 || metadata.max_luminance.num <= 0 || metadata.max_luminance.den <= 0) return {};
    return std::to_string(std::lround(av_q2d(metadata.max_luminance)));
}

constexpr std::size_t matrixBytes = 9 * sizeof(std::int32_t);

/// Of the nine numbers of a display matrix: the nearest quarter turn.
PictureOrientation orientationOf(const std::int32_t* matrix) {
    // A point (x, y), y downwards, is shown at (a x + c y, b x + d y).
    double a = matrix[0], b = matrix[1];
    const double c = matrix[3], d = matrix[4];
    PictureOrientation result;
    result.isMirrored = a * d - b * c < 0;
    if (result.isMirrored) {
        a = -a;
        b = -b;
    }
    if (a == 0 && b == 0) return {};
    const auto quarters = std::lround(std::atan2(b, a) / (std::numbers::pi / 2));
    result.clockwiseQuarters = static_cast<int>((quarters + 4) % 4);
    return result;
}

}  // namespace

PictureColours PictureColours::of(const AVFrame& frame) {
    return describe(static_cast<AVPixelFormat>(frame.format), known(frame.colorspace), known(frame.color_range),
                    frame.width, frame.height);
}

PictureColours PictureColours::of(const AVCodecParameters& parameters) {
    return describe(static_cast<AVPixelFormat>(parameters.format), known(parameters.color_space),
                    known(parameters.color_range), parameters.width, parameters.height);
}

PictureOrientation PictureOrientation::of(const AVStream& stream) {
    std::size_t size = 0;
    const std::uint8_t* const bytes = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (bytes == nullptr || size < matrixBytes) return {};
    return orientationOf(reinterpret_cast<const std::int32_t*>(bytes));
}

PictureOrientation PictureOrientation::of(const AVFrame& frame, PictureOrientation streamOrientation) {
    const AVFrameSideData* const data = av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX);
    if (data == nullptr || data->size < matrixBytes) return streamOrientation;
    return orientationOf(reinterpret_cast<const std::int32_t*>(data->data));
}

std::string peakLuminanceOf(const AVStream& stream) {
    std::size_t size = 0;
    const std::uint8_t* const display = av_stream_get_side_data(&stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA, &size);
    return luminanceText(display, size);
}

void attachColours(CVPixelBuffer& buffer, const AVFrame& frame, const PictureColours& colours,
                   PictureOrientation orientation, const std::string& peakLuminance) {
    const auto attach = [&buffer](CVAttachment attachment, std::string_view text) {
        if (CVBufferSetAttachment(buffer, attachment, text) != kCVReturnSuccess) throw std::bad_alloc();
    };
    const bool isPicture = CVPixelBufferGetPixelFormatType(buffer) == kCVPixelFormatType_32BGRA ||
                           CVPixelBufferGetPixelFormatType(buffer) == kCVPixelFormatType_32RGBA;
    attach(CVAttachment::TransferFunction, transferText(known(frame.color_trc)));
    attach(CVAttachment::ColorPrimaries, primariesText(known(frame.color_primaries)));
    const AVFrameSideData* const display = av_frame_get_side_data(&frame, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA);
    const std::string own = display != nullptr ? luminanceText(display->data, display->size) : "";
    attach(CVAttachment::PeakLuminance, own.empty() ? peakLuminance : own);
    if (isPicture) return;  // converted already, where it wasn't red, green and blue
    attach(CVAttachment::YCbCrMatrix, matrixText(colours.matrix));
    attach(CVAttachment::ColorRange,
           colours.isFullRange ? kCVImageBufferColorRange_Full : kCVImageBufferColorRange_Video);
    attach(CVAttachment::ChromaLocation, sitingText(known(frame.chroma_location), orientation));
}

}  // namespace ondrix::ffmpeg
