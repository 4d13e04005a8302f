#include <algorithm>
#include <charconv>
#include <optional>

#include <ondrix/frames/FrameColours.h>

namespace ondrix {

namespace {

template <class Value>
struct Name {
    std::string_view text;
    Value value;
};

constexpr Name<YCbCrMatrix> matrices[] = {{kCVImageBufferYCbCrMatrix_ITU_R_709_2, YCbCrMatrix::BT709},
                                          {kCVImageBufferYCbCrMatrix_ITU_R_601_4, YCbCrMatrix::BT601},
                                          {kCVImageBufferYCbCrMatrix_ITU_R_2020, YCbCrMatrix::BT2020}};
constexpr Name<ColourRange> ranges[] = {{kCVImageBufferColorRange_Video, ColourRange::video},
                                        {kCVImageBufferColorRange_Full, ColourRange::full}};
constexpr Name<ChromaSiting> sitings[] = {{kCVImageBufferChromaLocation_Left, ChromaSiting::left},
                                          {kCVImageBufferChromaLocation_Center, ChromaSiting::centre}};
constexpr Name<TransferFunction> transfers[] = {{kCVImageBufferTransferFunction_ITU_R_709_2, TransferFunction::SDR},
                                                {kCVImageBufferTransferFunction_sRGB, TransferFunction::SDR},
                                                {kCVImageBufferTransferFunction_SMPTE_ST_2084_PQ, TransferFunction::PQ},
                                                {kCVImageBufferTransferFunction_ITU_R_2100_HLG, TransferFunction::HLG}};
constexpr Name<ColourPrimaries> primariesNames[] = {{kCVImageBufferColorPrimaries_ITU_R_709_2, ColourPrimaries::BT709},
                                                    {kCVImageBufferColorPrimaries_P3_D65, ColourPrimaries::P3},
                                                    {kCVImageBufferColorPrimaries_ITU_R_2020, ColourPrimaries::BT2020}};

template <class Names>
auto valueOf(const Names& names, std::string_view text) {
    for (const auto& name : names) {
        if (name.text == text) return std::optional(name.value);
    }
    return std::optional<decltype(names[0].value)>();
}

template <class Names, class Value>
std::string_view textOf(const Names& names, Value value) {
    for (const auto& name : names) {
        if (name.value == value) return name.text;
    }
    return {};
}

}  // namespace

std::optional<ColourRange> FrameColours::rangeOf(OSType pixelFormat) {
    switch (pixelFormat) {
        case kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange:
        case kCVPixelFormatType_420YpCrCb8BiPlanarVideoRange:
        case kCVPixelFormatType_422YpCbCr8BiPlanarVideoRange:
        case kCVPixelFormatType_444YpCbCr8BiPlanarVideoRange:
        case kCVPixelFormatType_420YpCbCr10BiPlanarVideoRange:
            return ColourRange::video;
        case kCVPixelFormatType_420YpCbCr8BiPlanarFullRange:
        case kCVPixelFormatType_420YpCrCb8BiPlanarFullRange:
        case kCVPixelFormatType_422YpCbCr8BiPlanarFullRange:
        case kCVPixelFormatType_444YpCbCr8BiPlanarFullRange:
        case kCVPixelFormatType_420YpCbCr8PlanarFullRange:
        case kCVPixelFormatType_420YpCbCr10BiPlanarFullRange:
            return ColourRange::full;
        default:
            return std::nullopt;
    }
}

FrameColours FrameColours::of(const CVPixelBuffer& frame) {
    const auto stated = [&frame](const auto& names, CVAttachment attachment) {
        return valueOf(names, CVBufferGetAttachment(frame, attachment));
    };
    FrameColours colours;
    const OSType format = CVPixelBufferGetPixelFormatType(frame);
    const auto ofFormat = rangeOf(format);
    if (format == kCVPixelFormatType_OneComponent8) colours.range = ColourRange::full;
    colours.range = ofFormat.value_or(stated(ranges, CVAttachment::ColorRange).value_or(colours.range));
    colours.siting = stated(sitings, CVAttachment::ChromaLocation).value_or(colours.siting);
    colours.transfer = stated(transfers, CVAttachment::TransferFunction).value_or(colours.transfer);
    const bool isHDR = colours.transfer != TransferFunction::SDR;
    colours.primaries = stated(primariesNames, CVAttachment::ColorPrimaries)
                            .value_or(isHDR ? ColourPrimaries::BT2020 : ColourPrimaries::BT709);
    const bool isWide = colours.primaries == ColourPrimaries::BT2020;
    colours.matrix =
        stated(matrices, CVAttachment::YCbCrMatrix).value_or(isWide ? YCbCrMatrix::BT2020 : YCbCrMatrix::BT709);
    const std::string_view peak = CVBufferGetAttachment(frame, CVAttachment::PeakLuminance);
    float luminance = 0;
    std::from_chars(peak.data(), peak.data() + peak.size(), luminance);
    if (luminance > 0) colours.peakLuminance = std::clamp(luminance, 203.0f, 10000.0f);
    return colours;
}

std::string_view FrameColours::unknownOf(const CVPixelBuffer& frame) {
    const auto isUnknown = [](const auto& names, std::string_view text) {
        return !text.empty() && !valueOf(names, text);
    };
    const auto text = [&frame](CVAttachment attachment) { return CVBufferGetAttachment(frame, attachment); };
    if (isUnknown(matrices, text(CVAttachment::YCbCrMatrix))) return text(CVAttachment::YCbCrMatrix);
    if (isUnknown(transfers, text(CVAttachment::TransferFunction))) return text(CVAttachment::TransferFunction);
    if (isUnknown(primariesNames, text(CVAttachment::ColorPrimaries))) return text(CVAttachment::ColorPrimaries);
    if (isUnknown(sitings, text(CVAttachment::ChromaLocation))) return text(CVAttachment::ChromaLocation);
    if (isUnknown(ranges, text(CVAttachment::ColorRange))) return text(CVAttachment::ColorRange);
    return {};
}

CVReturn FrameColours::attachTo(CVPixelBuffer& frame) const {
    char digits[32];
    const char* const end = std::to_chars(digits, std::end(digits), peakLuminance).ptr;
    const std::string_view peak(digits, transfer == TransferFunction::PQ ? static_cast<std::size_t>(end - digits) : 0);
    const std::pair<CVAttachment, std::string_view> texts[] = {
        {CVAttachment::YCbCrMatrix, textOf(matrices, matrix)},
        {CVAttachment::TransferFunction, textOf(transfers, transfer)},
        {CVAttachment::ColorPrimaries, textOf(primariesNames, primaries)},
        {CVAttachment::ChromaLocation, textOf(sitings, siting)},
        {CVAttachment::ColorRange, textOf(ranges, range)},
        {CVAttachment::PeakLuminance, peak},
    };
    for (const auto& [attachment, text] : texts) {
        const CVReturn status = CVBufferSetAttachment(frame, attachment, text);
        if (status != kCVReturnSuccess) return status;
    }
    return kCVReturnSuccess;
}

}  // namespace ondrix
