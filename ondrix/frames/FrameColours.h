#pragma once

#include <optional>

#include <ondrix/platform/corevideo/CVBuffer.h>

namespace ondrix {

/// How luma and chroma are made of red, green and blue: the weights of ITU-R BT.601, BT.709 and BT.2020 (not constant
/// luminance).
enum class YCbCrMatrix { BT601, BT709, BT2020 };
/// Which numbers stand for black and white: of 8 bits 16 and 235 (chroma 16 to 240), or 0 and 255; of more bits as many
/// times that as there are more numbers, or all of them.
enum class ColourRange { video, full };
/// Where a sample of chroma lies that two columns share: beside the left one, or amid them. A sample that two rows
/// share lies amid them.
enum class ChromaSiting { left, centre };
/// How numbers stand for light. `SDR` is the curve of sRGB, also where a frame states that of BT.709.
enum class TransferFunction { SDR, PQ, HLG };
enum class ColourPrimaries { BT709, P3, BT2020 };

/// What the numbers of a frame mean. A plain value.
struct FrameColours {
    YCbCrMatrix matrix = YCbCrMatrix::BT709;
    ColourRange range = ColourRange::video;
    ChromaSiting siting = ChromaSiting::left;
    TransferFunction transfer = TransferFunction::SDR;
    ColourPrimaries primaries = ColourPrimaries::BT709;
    float peakLuminance = 1000;  ///< cd/m2, of the display that a frame in PQ was made on: 203 to 10000

    /// Whether textures, which are SDR in BT.709, need other numbers.
    [[nodiscard]] bool isWide() const {
        return transfer != TransferFunction::SDR || primaries != ColourPrimaries::BT709;
    }

    friend bool operator==(const FrameColours&, const FrameColours&) = default;

    /// What the frame states by its format and its attachments (CVBuffer.h), and otherwise: the range of video (the
    /// full one for grey), BT.709, the left siting and SDR; but the primaries of BT.2020 where the transfer function is
    /// one for HDR, and the matrix of BT.2020 where the primaries are. Of the range, the format's name is the last
    /// word. What is stated but unknown counts as not stated.
    [[nodiscard]] static FrameColours of(const CVPixelBuffer& frame);
    /// The range that the name of a pixel format tells; absent where it doesn't.
    [[nodiscard]] static std::optional<ColourRange> rangeOf(OSType pixelFormat);
    /// The first text among the frame's attachments that states colours unknown to this class; empty without one.
    [[nodiscard]] static std::string_view unknownOf(const CVPixelBuffer& frame);

    /// States these colours as the frame's attachments, the peak luminance for PQ only. Fails without memory only.
    CVReturn attachTo(CVPixelBuffer& frame) const;
};

}  // namespace ondrix
