#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <tests/pictures/PictureWriter.h>
#include <tests/support/Picture.h>
#include <tests/support/RecordingDevice.h>
#include <tests/support/TemporaryFolder.h>

namespace ondrix {
namespace {

using test::LoadedPicture;
using namespace std::string_literals;

/// A failure must give a reason of one line and leave standard error to others.
class DamagedPicture : public testing::Test {
protected:
    DamagedPicture() { testing::internal::CaptureStderr(); }
    ~DamagedPicture() override { EXPECT_EQ(testing::internal::GetCapturedStderr(), ""); }

    static void expectRefused(const LoadedPicture& loaded, const std::string& reason = "the ") {
        EXPECT_EQ(loaded.texture, nullptr);
        EXPECT_THAT(loaded.reason, testing::AllOf(testing::StartsWith(reason), testing::Not(testing::HasSubstr("\n"))));
    }
    // Of noise in as many bytes as the file has samples.
    static std::string png(bool interlaced) {
        const auto noise = test::Picture::noise(5, 3, 3).bytes;
        return encode(test::PNGContent{5, 4, PNG_COLOR_TYPE_RGB, 8, interlaced, {noise.begin(), noise.end()}});
    }
    static std::string jpeg(bool progressive) {
        const auto noise = test::Picture::noise(24, 12, 3).bytes;
        return encode(test::JPEGContent{24, 16, JCS_RGB, JCS_YCbCr, noise, progressive, 2});
    }
    const test::TemporaryFolder folder;
};

TEST_F(DamagedPicture, ThatIsNoPicture) {
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    const auto jpegIn = [](J_COLOR_SPACE storedAs) {
        return encode(test::JPEGContent{2, 1, JCS_CMYK, storedAs, {1, 2, 3, 4, 5, 6, 7, 8}});
    };
    const std::pair<std::filesystem::path, const char*> cases[] = {
        {folder.write("cmyk.jpg", jpegIn(JCS_CMYK)), "JPEG files in CMYK can't be read"},
        {folder.write("ycck.jpg", jpegIn(JCS_YCCK)), "JPEG files in CMYK can't be read"},
        {folder.path() / "missing.png", "No such file or directory"},
        {folder.path(), "Is a directory"},
        {folder.path() / "pipe", "it is not a regular file"},
        {"/dev/zero", "it is not a regular file"},
        {folder.write("empty.png", ""), "the file is empty"},
        {folder.write("text.png", "some text"), "the file is not a PNG or JPEG picture"},
        {folder.write("start.png", "\x89PN"), "the file is not a PNG or JPEG picture"},
    };
    for (const auto& [path, reason] : cases) expectRefused(LoadedPicture(URL(path)), reason);
}

/// Sizes are refused before a texture is asked for, by themselves or because so short a file can't hold so many pixels.
TEST_F(DamagedPicture, WithASizeThatCanNotBe) {
    const auto pngWith = [&](std::size_t position, const std::string& size) {
        return png(false).replace(position, size.size(), size);
    };
    const auto jpegWith = [&](const std::string& size) {
        std::string file = jpeg(false);
        return file.replace(file.find("\xFF\xC0") + 5, size.size(), size);
    };
    // Files long enough for so many pixels, which would still take far more memory than they have bytes.
    const std::string pixels = "\0\0\xFF\xFFIDAT"s + std::string(40000, '\0');
    const std::string bomb = encode(test::PNGContent{16384, 16384, PNG_COLOR_TYPE_GRAY, 1}, true) + pixels;
    const std::string interlaced = encode(test::PNGContent{11000, 11000, PNG_COLOR_TYPE_GRAY, 1, true}, true) + pixels;
    std::string progressive = jpeg(true);
    progressive.replace(progressive.find("\xFF\xC2") + 5, 4, "\x2A\xF8\x2A\xF8");
    std::string otherByte = png(false);
    otherByte[otherByte.find("IDAT") + 9] ^= 1;
    const std::string large = encode(test::PNGContent{16384, 16384, PNG_COLOR_TYPE_GRAY, 1, true}, true);
    const std::pair<std::string, const char*> cases[] = {
        {pngWith(16, "\0\x01\x86\xA0\0\x01\x86\xA0"s), "the picture is too large (100000x100000 pixels"},
        {pngWith(16, "\0\0\x40\x01"s), "the picture is too large (16385x4 pixels"},
        {pngWith(16, "\0\0\0\0"s), "the picture has no pixels (0x4)"},
        {pngWith(20, "\0\0\0\0"s), "the picture has no pixels (5x0)"},
        {pngWith(20, "\xFF\xFF\xFF\xFF"s), "the picture is too large (5x4294967295 pixels"},
        {jpegWith("\xFD\xE8\xFD\xE8"s), "the picture is too large (65000x65000 pixels"},
        {jpegWith("\0\0"s), "the JPEG file is damaged: Empty JPEG image"},
        {bomb, "the picture is too large (16384x16384 pixels, 134217728 in all are allowed)"},
        {interlaced, "decoding the picture takes too much memory"},
        {progressive, "decoding the picture takes too much memory"},
        {large + "\0\0\0\0IDAT"s, "the PNG file is damaged: unexpected end of file"},
    };
    for (const auto& [file, reason] : cases) {
        const auto device = std::make_shared<test::RecordingDevice>();
        expectRefused(LoadedPicture(URL(folder.write("picture", file)), false, device), reason);
        EXPECT_TRUE(device->calls.empty());
    }
    expectRefused(LoadedPicture::of(otherByte), "the PNG file is damaged: ");
    // One that is as short as its pixels allow.
    const auto plain =
        encode(test::PNGContent{2000, 2000, PNG_COLOR_TYPE_GRAY, 1, false, std::vector<std::uint16_t>(4000000)});
    EXPECT_EQ(LoadedPicture::of(plain).reason, "");
    const std::string small = png(false);
    for (const MTKTextureLoaderLimits limits : {MTKTextureLoaderLimits{19, 1000}, {20, 79}, {20, 80}}) {
        const MTKTextureLoader loader(MTLCreateSystemDefaultDevice(), limits);
        EXPECT_EQ(loader.newTexture(small.data(), small.size(), {}, nullptr) != nullptr, limits.maximumMemory == 80);
    }
}

}  // namespace
}  // namespace ondrix
