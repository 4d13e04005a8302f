#include <random>
#include <string>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tests/pictures/PictureWriter.h>
#include <tests/support/RecordingDevice.h>
#include <tests/support/TemporaryFolder.h>

namespace ondrix {
namespace {

using test::JPEGContent;
using test::LoadedPicture;
using test::PNGContent;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A failure must give a reason of one line and leave standard error to others.
class DamagedPicture : public testing::Test {
protected:
    DamagedPicture() { testing::internal::CaptureStderr(); }
    ~DamagedPicture() override { EXPECT_EQ(testing::internal::GetCapturedStderr(), ""); }

    static void expectRefused(const LoadedPicture& loaded, const testing::Matcher<const std::string&>& matcher) {
        EXPECT_EQ(loaded.texture, nullptr);
        EXPECT_THAT(loaded.reason, AllOf(matcher, Not(HasSubstr("\n"))));
    }
    static PNGContent noise(std::uint32_t width, std::uint32_t height, bool interlaced) {
        PNGContent content{width, height, PNG_COLOR_TYPE_RGB, 8, interlaced, {}, {}, {}, {}};
        std::mt19937 random(3);
        for (std::uint32_t sample = 0; sample < width * height * 3; ++sample) content.samples.push_back(random() & 255);
        return content;
    }
    static JPEGContent noise(bool progressive) {
        const auto samples = noise(24, 16, false).samples;
        return {24, 16, JCS_RGB, JCS_YCbCr, {samples.begin(), samples.end()}, progressive, 2};
    }
    const test::TemporaryFolder folder;
};

TEST_F(DamagedPicture, ThatIsNoPicture) {
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    std::string random;
    for (std::mt19937 generator(1); random.size() < 5000;) random += static_cast<char>(generator());
    const std::tuple<std::filesystem::path, const char*> cases[] = {
        {folder.path() / "missing.png", "No such file or directory"},
        {folder.path(), "Is a directory"},
        {folder.path() / "pipe", "it is not a regular file"},
        {"/dev/zero", "it is not a regular file"},
        {folder.write("empty.png", ""), "the file is empty"},
        {folder.write("text.png", "some text"), "the file is not a PNG or JPEG picture"},
        {folder.write("random.jpg", random), "the file is not a PNG or JPEG picture"},
        {folder.write("start.png", "\x89PN"), "the file is not a PNG or JPEG picture"},
    };
    for (const auto& [path, reason] : cases)
        expectRefused(LoadedPicture(URL(path), false, test::device()), testing::Eq(reason));
}

/// Every byte of a PNG file is covered by its signature or by a checksum.
TEST_F(DamagedPicture, PNGWithOneOtherByteOrAnEarlyEnd) {
    for (const bool interlaced : {false, true}) {
        const std::string file = encode(noise(5, 4, interlaced));
        ASSERT_NE(LoadedPicture::of(file).texture, nullptr);
        for (std::size_t index = 0; index < file.size(); ++index) {
            SCOPED_TRACE(index);
            std::string changed = file;
            changed[index] ^= 0x21;
            expectRefused(LoadedPicture::of(changed), StartsWith("the "));
            expectRefused(LoadedPicture::of(file.substr(0, index)), StartsWith("the "));
        }
    }
}

TEST_F(DamagedPicture, JPEGWithAnEarlyEnd) {
    for (const bool progressive : {false, true}) {
        const std::string file = encode(noise(progressive));
        ASSERT_NE(LoadedPicture::of(file).texture, nullptr);
        for (std::size_t length = 0; length < file.size(); ++length) {
            SCOPED_TRACE(length);
            expectRefused(LoadedPicture::of(file.substr(0, length)), StartsWith("the "));
        }
    }
}

/// Whatever the damage, the result is a picture or a reason: for sanitizers.
TEST_F(DamagedPicture, JPEGWithOtherBytes) {
    std::mt19937 random(5);
    for (const bool progressive : {false, true}) {
        const std::string file = encode(noise(progressive));
        for (int round = 0; round < 300; ++round) {
            std::string changed = file;
            for (int change = 0; change < 3; ++change) changed[random() % file.size()] = static_cast<char>(random());
            const auto loaded = LoadedPicture::of(changed);
            EXPECT_NE(loaded.texture == nullptr, loaded.reason.empty());
        }
    }
}

/// Sizes are refused before a texture is asked for, by themselves or because so short a file can't hold so many pixels.
TEST_F(DamagedPicture, WithASizeThatCanNotBe) {
    const auto withSize = [](std::string file, std::size_t position, const std::string& size) {
        return file.replace(position, size.size(), size);
    };
    using namespace std::string_literals;
    const std::string png = encode(noise(5, 4, false));
    const std::string jpeg = encode(noise(false));
    const std::size_t jpegSize = jpeg.find("\xFF\xC0") + 5;
    PNGContent large{16384, 16384, PNG_COLOR_TYPE_GRAY, 1, true, {}, {}, {}, {}};
    const std::tuple<std::string, const char*> cases[] = {
        {withSize(png, 16, "\0\x01\x86\xA0\0\x01\x86\xA0"s), "the picture is too large (100000x100000 pixels"},
        {withSize(png, 16, "\0\0\x40\x01"s), "the picture is too large (16385x4 pixels"},
        {withSize(png, 16, "\0\0\0\0"s), "the picture has no pixels (0x4)"},
        {withSize(png, 20, "\0\0\0\0"s), "the picture has no pixels (5x0)"},
        {withSize(png, 20, "\xFF\xFF\xFF\xFF"s), "the picture is too large (5x4294967295 pixels"},
        {withSize(jpeg, jpegSize, "\xFD\xE8\xFD\xE8"s), "the picture is too large (65000x65000 pixels"},
        {withSize(jpeg, jpegSize, "\0\0"s), "the JPEG file is damaged: Empty JPEG image"},
        {encode(large, true) + "\0\0\0\0IDAT"s, "the PNG file is damaged: unexpected end of file"},
    };
    for (const auto& [file, reason] : cases) {
        const auto device = std::make_shared<test::RecordingDevice>();
        expectRefused(LoadedPicture(URL(folder.write("picture", file)), false, device), StartsWith(reason));
        EXPECT_TRUE(device->calls.empty());
    }
}

}  // namespace
}  // namespace ondrix
