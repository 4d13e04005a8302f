#include <algorithm>

#include "Frames.h"

namespace ondrix::test {
namespace {

using ColourTest = MediaTest;
/// Luma, blue-difference and red-difference chroma of 8 bits.
using YCbCr = std::array<int, 3>;
/// Inside the cube of colours for every matrix and range: dark, light, and with chroma of both signs.
constexpr YCbCr someColours[] = {{16, 128, 128},  {128, 128, 128}, {235, 128, 128}, {90, 200, 110},
                                 {140, 100, 180}, {170, 60, 100},  {120, 110, 90}};

using Weights = std::pair<double, double>;  ///< of red and blue in luma
constexpr Weights bt601{0.299, 0.114}, bt709{0.2126, 0.0722}, bt2020{0.2627, 0.0593};

/// Exact numbers.
std::vector<double> expectedBGRA(YCbCr colour, Weights weights, bool isFullRange) {
    const auto [kr, kb] = weights;
    const double y = isFullRange ? colour[0] / 255.0 : (colour[0] - 16) / 219.0;
    const double chromaScale = isFullRange ? 255 : 224;
    const double r = y + 2 * (1 - kr) * (colour[2] - 128) / chromaScale;
    const double b = y + 2 * (1 - kb) * (colour[1] - 128) / chromaScale;
    const double g = (y - kr * r - kb * b) / (1 - kr - kb);
    return {255 * std::clamp(b, 0.0, 1.0), 255 * std::clamp(g, 0.0, 1.0), 255 * std::clamp(r, 0.0, 1.0), 255};
}

/// How a clip is stored, and by which formula its colours are to be read.
struct Storage {
    const char* name;
    AVPixelFormat format;
    AVColorSpace matrix;
    AVColorRange range;
    int width, height;
    Weights weights;
    bool isFullRange;
    OSType native;  ///< what comes when native frames are asked for
    const char* encoder = "ffv1";
};

constexpr auto p420 = AV_PIX_FMT_YUV420P;
constexpr auto untagged = AVCOL_SPC_UNSPECIFIED;
constexpr auto unknown = AVCOL_RANGE_UNSPECIFIED, video = AVCOL_RANGE_MPEG, full = AVCOL_RANGE_JPEG;
const Storage storages[] = {
    {"601", p420, AVCOL_SPC_SMPTE170M, video, 64, 48, bt601, false, bgra},
    {"709", p420, AVCOL_SPC_BT709, video, 64, 48, bt709, false, v420},
    {"709Odd", p420, AVCOL_SPC_BT709, video, 37, 23, bt709, false, v420},
    {"709Full", p420, AVCOL_SPC_BT709, full, 64, 48, bt709, true, f420},
    {"2020", p420, AVCOL_SPC_BT2020_NCL, video, 64, 48, bt2020, false, bgra},
    {"UntaggedSmall", p420, untagged, unknown, 64, 48, bt601, false, bgra},
    {"UntaggedHigh", p420, untagged, unknown, 16, 720, bt709, false, v420},
    {"UntaggedWide", p420, untagged, unknown, 1280, 16, bt709, false, v420},
    {"JPEG", AV_PIX_FMT_YUVJ420P, AVCOL_SPC_BT470BG, full, 64, 48, bt601, true, bgra, "mjpeg"},
    {"709TenBits", AV_PIX_FMT_YUV420P10, AVCOL_SPC_BT709, video, 64, 48, bt709, false, bgra},
    {"709Whole", AV_PIX_FMT_YUV444P, AVCOL_SPC_BT709, full, 37, 23, bt709, true, bgra},
    {"Grey", AV_PIX_FMT_GRAY8, untagged, unknown, 37, 23, bt601, true, bgra},
    {"GreyVideo", AV_PIX_FMT_GRAY8, untagged, video, 64, 48, bt601, false, bgra},
    {"RGB", AV_PIX_FMT_GBRP, AVCOL_SPC_RGB, full, 64, 48, bt601, true, bgra, "utvideo"},
};

// A wrong matrix or range, swapped chroma, odd ends that aren't written, an untold guess, RGB that isn't kept exactly.
TEST_F(ColourTest, EveryPixelHasTheColourThatIsStored) {
    for (const Storage& storage : storages) {
        SCOPED_TRACE(storage.name);
        const bool isGrey = storage.format == AV_PIX_FMT_GRAY8, isRGB = storage.format == AV_PIX_FMT_GBRP;
        const int scale = storage.format == AV_PIX_FMT_YUV420P10 ? 4 : 1;
        Clip clip{storage.encoder, storage.format, storage.width, storage.height};
        clip.times = {0, 40, 80, 120, 160, 200, 240};
        clip.matrix = storage.matrix;
        clip.range = storage.range;
        clip.value = [&](int frame, int plane, int, int) { return someColours[frame][plane] * scale; };
        const auto file = clip.write(path("clip.mkv"));
        for (const auto format : {MovieFrameFormat::BGRA, MovieFrameFormat::native}) {
            log.clear();
            const Samples samples = readAll(*open(file, format));
            EXPECT_THAT(log.messages(), testing::SizeIs(storage.matrix == untagged && !isGrey ? 1 : 0));
            EXPECT_THAT(log.messages(),
                        testing::Each(testing::HasSubstr(storage.weights == bt709 ? "BT.709" : "BT.601")));
            ASSERT_EQ(samples.size(), std::size(someColours));
            for (std::size_t index = 0; index < samples.size(); ++index) {
                YCbCr colour = someColours[index];
                if (isGrey) colour[1] = colour[2] = 128;
                const auto image = imageOf(samples[index]);
                const bool isConverted = format == MovieFrameFormat::BGRA || storage.native == bgra;
                ASSERT_EQ(CVPixelBufferGetPixelFormatType(*image), isConverted ? bgra : storage.native);
                std::vector<std::vector<double>> planes = {expectedBGRA(colour, storage.weights, storage.isFullRange)};
                if (isRGB) planes = {{1.0 * colour[1], 1.0 * colour[0], 1.0 * colour[2], 255}};  // stored as G, B, R
                if (!isConverted) planes = {{1.0 * colour[0]}, {1.0 * colour[1], 1.0 * colour[2]}};
                const double tolerance = isRGB || !isConverted ? 0 : 1.5;
                for (std::size_t plane = 0; plane < planes.size(); ++plane) {
                    const std::vector<int> bytes = bytesOf(image, plane);
                    for (std::size_t i = 0; i < bytes.size(); ++i) {
                        ASSERT_NEAR(bytes[i], planes[plane][i % planes[plane].size()], tolerance) << index;
                    }
                }
            }
        }
    }
}

}  // namespace
}  // namespace ondrix::test
