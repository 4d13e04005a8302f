#include <algorithm>
#include <cmath>

#include <gmock/gmock.h>

#include "Clip.h"
#include "Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace ondrix::test {

namespace {

using testing::Each;
using testing::HasSubstr;

/// Luma, blue-difference and red-difference chroma of 8 bits.
using YCbCr = std::array<int, 3>;
/// Inside the cube of colours for every matrix and range: dark, light, and with chroma of both signs.
constexpr YCbCr someColours[] = {{16, 128, 128},  {128, 128, 128}, {235, 128, 128}, {90, 200, 110},
                                 {140, 100, 180}, {170, 60, 100},  {120, 110, 90}};

/// Blue, green, red as exact numbers, from the weights of red and blue in luma.
std::array<double, 3> expectedBGR(YCbCr colour, double kr, double kb, bool isFullRange) {
    const double y = isFullRange ? colour[0] / 255.0 : (colour[0] - 16) / 219.0;
    const double chromaScale = isFullRange ? 255 : 224;
    const double r = y + 2 * (1 - kr) * (colour[2] - 128) / chromaScale;
    const double b = y + 2 * (1 - kb) * (colour[1] - 128) / chromaScale;
    const double g = (y - kr * r - kb * b) / (1 - kr - kb);
    return {255 * std::clamp(b, 0.0, 1.0), 255 * std::clamp(g, 0.0, 1.0), 255 * std::clamp(r, 0.0, 1.0)};
}

/// How a clip is stored, and by which formula its colours are to be read.
struct Storage {
    const char* name;
    AVPixelFormat format;
    AVColorSpace matrix;
    AVColorRange range;
    int width, height;
    double kr, kb;
    bool isFullRange;
    OSType native;  ///< what comes when native frames are asked for
    const char* encoder = "ffv1";
};

constexpr OSType bgra = kCVPixelFormatType_32BGRA;
constexpr OSType v420 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
constexpr OSType f420 = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;
constexpr auto unknownRange = AVCOL_RANGE_UNSPECIFIED, videoRange = AVCOL_RANGE_MPEG, fullRange = AVCOL_RANGE_JPEG;

class ColourTest : public testing::TestWithParam<Storage> {};

// Catches a wrong matrix or range, chroma that is swapped or shifted, rows at odd ends that aren't written, a
// conversion that is off, numbers of BT.601 handed out as if they were BT.709, and stored numbers that change on their
// way.
TEST_P(ColourTest, EveryPixelHasTheColourThatIsStored) {
    const Storage& storage = GetParam();
    const TemporaryFolder folder;
    const LogCapture log;
    const bool isGrey = storage.format == AV_PIX_FMT_GRAY8;
    Clip clip{storage.encoder, storage.format, storage.width, storage.height};
    clip.times = {0, 40, 80, 120, 160, 200, 240};
    clip.matrix = storage.matrix;
    clip.range = storage.range;
    const int scale = storage.format == AV_PIX_FMT_YUV420P10 ? 4 : 1;
    clip.value = [&](int frame, int plane, int, int) { return someColours[frame][plane] * scale; };
    clip.write(folder.path() / "clip.mkv");
    const Samples converted = readAll(folder.path() / "clip.mkv");
    const bool isGuessed = storage.matrix == AVCOL_SPC_UNSPECIFIED && !isGrey;
    EXPECT_THAT(log.messages(), testing::SizeIs(isGuessed ? 1 : 0));
    EXPECT_THAT(log.messages(), Each(HasSubstr(storage.kr == 0.2126 ? "BT.709" : "BT.601")));
    const Samples native = readAll(folder.path() / "clip.mkv", MovieFrameFormat::native);
    ASSERT_EQ(converted.size(), std::size(someColours));
    ASSERT_EQ(native.size(), std::size(someColours));
    for (std::size_t index = 0; index < converted.size(); ++index) {
        YCbCr colour = someColours[index];
        if (isGrey) colour[1] = colour[2] = 128;
        const auto expected = expectedBGR(colour, storage.kr, storage.kb, storage.isFullRange);
        const std::vector<int> bytes = bytesOf(converted[index], 0, 4);
        double worst = 0;
        for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
            worst = std::max(worst, std::abs(bytes[byte] - (byte % 4 == 3 ? 255 : expected[byte % 4])));
        }
        EXPECT_LE(worst, 1.5) << "colour " << index;
        const OSType format = CVPixelBufferGetPixelFormatType(*CMSampleBufferGetImageBuffer(*native[index]));
        ASSERT_EQ(format, storage.native);
        if (format == bgra) continue;
        EXPECT_THAT(bytesOf(native[index], 0, 1), Each(colour[0]));
        const std::vector<int> chroma = bytesOf(native[index], 1, 2);
        for (std::size_t byte = 0; byte < chroma.size(); ++byte) {
            ASSERT_EQ(chroma[byte], byte % 2 == 0 ? colour[1] : colour[2]);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Storages, ColourTest,
    testing::Values(
        Storage{"601", AV_PIX_FMT_YUV420P, AVCOL_SPC_SMPTE170M, videoRange, 64, 48, 0.299, 0.114, false, bgra},
        Storage{"601Full", AV_PIX_FMT_YUV420P, AVCOL_SPC_BT470BG, fullRange, 64, 48, 0.299, 0.114, true, bgra},
        Storage{"709", AV_PIX_FMT_YUV420P, AVCOL_SPC_BT709, videoRange, 64, 48, 0.2126, 0.0722, false, v420},
        Storage{"709Odd", AV_PIX_FMT_YUV420P, AVCOL_SPC_BT709, videoRange, 37, 23, 0.2126, 0.0722, false, v420},
        Storage{"709Full", AV_PIX_FMT_YUV420P, AVCOL_SPC_BT709, fullRange, 64, 48, 0.2126, 0.0722, true, f420},
        Storage{"2020", AV_PIX_FMT_YUV420P, AVCOL_SPC_BT2020_NCL, videoRange, 64, 48, 0.2627, 0.0593, false, bgra},
        Storage{"UntaggedSmall", AV_PIX_FMT_YUV420P, AVCOL_SPC_UNSPECIFIED, unknownRange, 64, 48, 0.299, 0.114, false,
                bgra},
        Storage{"UntaggedHigh", AV_PIX_FMT_YUV420P, AVCOL_SPC_UNSPECIFIED, unknownRange, 16, 720, 0.2126, 0.0722, false,
                v420},
        Storage{"UntaggedWide", AV_PIX_FMT_YUV420P, AVCOL_SPC_UNSPECIFIED, unknownRange, 1280, 16, 0.2126, 0.0722,
                false, v420},
        Storage{"JPEG", AV_PIX_FMT_YUVJ420P, AVCOL_SPC_BT470BG, fullRange, 64, 48, 0.299, 0.114, true, bgra, "mjpeg"},
        Storage{"709TenBits", AV_PIX_FMT_YUV420P10, AVCOL_SPC_BT709, videoRange, 64, 48, 0.2126, 0.0722, false, bgra},
        Storage{"709Whole", AV_PIX_FMT_YUV444P, AVCOL_SPC_BT709, fullRange, 37, 23, 0.2126, 0.0722, true, bgra},
        Storage{"Grey", AV_PIX_FMT_GRAY8, AVCOL_SPC_UNSPECIFIED, unknownRange, 37, 23, 0.299, 0.114, true, bgra},
        Storage{"GreyVideo", AV_PIX_FMT_GRAY8, AVCOL_SPC_UNSPECIFIED, videoRange, 64, 48, 0.299, 0.114, false, bgra}),
    [](const auto& storage) { return std::string("As") + storage.param.name; });

// Catches RGB that goes through YCbCr on its way, or with its components in another order.
TEST(RGBTest, IsTakenOverExactly) {
    const TemporaryFolder folder;
    Clip clip{"utvideo", AV_PIX_FMT_GBRP};
    clip.value = [](int, int plane, int x, int y) { return x * (3 + plane) + y * 50 * plane; };
    clip.write(folder.path() / "rgb.mkv");
    const Samples samples = readAll(folder.path() / "rgb.mkv", MovieFrameFormat::native);
    ASSERT_EQ(samples.size(), 1u);
    forEachElement(*CMSampleBufferGetImageBuffer(*samples[0]), 0, 4, [&](const std::uint8_t* pixel, Int x, Int y) {
        for (int component = 0; component < 3; ++component) {
            const int plane = std::array{1, 0, 2}[component];  // stored are green, blue, red
            ASSERT_EQ(pixel[component], clip.value(0, plane, static_cast<int>(x), static_cast<int>(y)) & 255);
        }
        ASSERT_EQ(pixel[3], 255);
    });
}

}  // namespace

}  // namespace ondrix::test
