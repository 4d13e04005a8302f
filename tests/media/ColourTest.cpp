#include <algorithm>

extern "C" {
#include <libavutil/frame.h>
}
#include <ondrix/frames/FrameColours.h>
#include <ondrix/platform/ffmpeg/read/DecoderPlanes.h>

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

Weights matrixOf(const FrameColours& colours) {
    return colours.matrix == YCbCrMatrix::BT709 ? bt709 : colours.matrix == YCbCrMatrix::BT601 ? bt601 : bt2020;
}

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
    OSType native, decoded;  ///< what comes when such frames are asked for
    const char* encoder = "ffv1";
};

constexpr auto p420 = AV_PIX_FMT_YUV420P;
constexpr auto untagged = AVCOL_SPC_UNSPECIFIED;
constexpr OSType y420 = kCVPixelFormatType_420YpCbCr8Planar, y444 = kCVPixelFormatType_444YpCbCr8Planar,
                 l008 = kCVPixelFormatType_OneComponent8, z420 = kCVPixelFormatType_420YpCbCr10Planar;
constexpr OSType fullY420 = kCVPixelFormatType_420YpCbCr8PlanarFullRange;
constexpr auto unknown = AVCOL_RANGE_UNSPECIFIED, video = AVCOL_RANGE_MPEG, full = AVCOL_RANGE_JPEG;
const Storage storages[] = {
    {"601", p420, AVCOL_SPC_SMPTE170M, video, 64, 48, bt601, false, bgra, y420},
    {"709", p420, AVCOL_SPC_BT709, video, 64, 48, bt709, false, v420, y420},
    {"709Odd", p420, AVCOL_SPC_BT709, video, 37, 23, bt709, false, v420, y420},
    {"709Full", p420, AVCOL_SPC_BT709, full, 64, 48, bt709, true, f420, fullY420},
    {"2020", p420, AVCOL_SPC_BT2020_NCL, video, 64, 48, bt2020, false, bgra, y420},
    {"UntaggedSmall", p420, untagged, unknown, 64, 48, bt601, false, bgra, y420},
    {"UntaggedHigh", p420, untagged, unknown, 16, 720, bt709, false, v420, y420},
    {"UntaggedWide", p420, untagged, unknown, 1280, 16, bt709, false, v420, y420},
    {"JPEG", AV_PIX_FMT_YUVJ420P, AVCOL_SPC_BT470BG, full, 64, 48, bt601, true, bgra, fullY420, "mjpeg"},
    {"709TenBits", AV_PIX_FMT_YUV420P10, AVCOL_SPC_BT709, video, 64, 48, bt709, false, bgra, z420},
    {"709Whole", AV_PIX_FMT_YUV444P, AVCOL_SPC_BT709, full, 37, 23, bt709, true, bgra, y444},
    {"Grey", AV_PIX_FMT_GRAY8, untagged, unknown, 37, 23, bt601, true, bgra, l008},
    {"GreyVideo", AV_PIX_FMT_GRAY8, untagged, video, 64, 48, bt601, false, bgra, l008},
    {"RGB", AV_PIX_FMT_GBRP, AVCOL_SPC_RGB, full, 64, 48, bt601, true, bgra, bgra, "utvideo"},
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
        for (const auto format : {MovieFrameFormat::BGRA, MovieFrameFormat::native, MovieFrameFormat::decoded}) {
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
                const OSType type = format == MovieFrameFormat::BGRA     ? bgra
                                    : format == MovieFrameFormat::native ? storage.native
                                                                         : storage.decoded;
                const bool isConverted = type == bgra;
                ASSERT_EQ(CVPixelBufferGetPixelFormatType(*image), type);
                std::vector<std::vector<double>> planes = {expectedBGRA(colour, storage.weights, storage.isFullRange)};
                if (isRGB) planes = {{1.0 * colour[1], 1.0 * colour[0], 1.0 * colour[2], 255}};  // stored as G, B, R
                if (!isConverted) planes = {{1.0 * colour[0]}, {1.0 * colour[1], 1.0 * colour[2]}};
                if (format == MovieFrameFormat::decoded && !isConverted) {
                    const FrameColours stated = FrameColours::of(*image);
                    EXPECT_TRUE(isGrey || matrixOf(stated) == storage.weights);
                    EXPECT_EQ(stated.range == ColourRange::full, storage.isFullRange);
                    planes.clear();
                    for (int plane = 0; plane < (isGrey ? 1 : 3); ++plane) {
                        const int number = colour[plane] * scale;
                        planes.push_back({number % 256 * 1.0});
                        if (scale > 1) planes.back().push_back(number / 256);
                    }
                }
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

// Memory outside a picture's that is read, rows upside down, a picture freed too early or never; a plane that is turned
// into another format's.
TEST_F(ColourTest, DecodersPlanesAreWrappedCopiedOrRefused) {
    constexpr int width = 6, height = 4;
    static int freed;
    const struct {
        const char* name;
        AVPixelFormat format;
        int stride, firstRow;  ///< of luma
        int quarters;
        OSType type;  ///< 0: refused
        bool isCopied;
    } cases[] = {{"wrapped", p420, 8, 0, 0, y420, false},
                 {"upwards", p420, -8, height - 1, 0, y420, true},
                 {"odd", AV_PIX_FMT_YUV420P10, 13, 0, 0, z420, true},
                 {"overlapping", p420, width - 1, 0, 0, 0, false},
                 {"beyond the end", p420, 8, height, 0, 0, false},
                 {"before the beginning", p420, -8, height - 2, 0, 0, false},
                 {"turned", p420, 8, 0, 1, y420, true},
                 {"turned 4:2:2", AV_PIX_FMT_YUV422P, 8, 0, 1, y444, true}};
    for (const auto& [name, format, stride, firstRow, quarters, type, isCopied] : cases) {
        SCOPED_TRACE(name);
        freed = 0;
        AVFrame* picture = av_frame_alloc();
        picture->width = width, picture->height = height, picture->format = format;
        std::vector<std::uint8_t> memory[3];
        for (int plane = 0; plane < 3; ++plane) {
            memory[plane].resize(plane == 0 ? std::abs(stride) * height : 16 * height);
            for (std::size_t i = 0; i < memory[plane].size(); ++i)
                memory[plane][i] = static_cast<std::uint8_t>(i % 251);
            picture->buf[plane] = av_buffer_create(
                memory[plane].data(), memory[plane].size(), [](void*, std::uint8_t*) { ++freed; }, nullptr, 0);
            picture->linesize[plane] = plane == 0 ? stride : 16;
            picture->data[plane] = memory[plane].data() + (plane == 0 ? firstRow * std::abs(stride) : 0);
        }
        std::string reason;
        auto buffer = ffmpeg::DecoderPlanes().make(*picture, {AVCOL_SPC_BT709, false}, {false, quarters}, reason);
        av_frame_free(&picture);
        EXPECT_EQ(reason.empty(), type != 0);
        EXPECT_EQ(freed, type != 0 && !isCopied ? 0 : 3);
        if (type == 0) continue;
        ASSERT_EQ(CVPixelBufferGetPixelFormatType(*buffer), type);
        EXPECT_EQ(CVPixelBufferGetWidth(*buffer), quarters == 0 ? width : height);
        const int from =
            quarters == 0 ? firstRow : height - 1;  // the row of the first pixel, and that of the one below
        const int below = quarters == 0 ? stride : 1;
        const std::vector<int> bytes = test::bytesOf(buffer, 0);
        EXPECT_EQ(bytes[0], memory[0][from * std::abs(stride)]);
        EXPECT_EQ(bytes[bytes.size() / (quarters == 0 ? height : width)], memory[0][from * std::abs(stride) + below]);
        buffer.reset();
        EXPECT_EQ(freed, 3);
    }
}

}  // namespace
}  // namespace ondrix::test
