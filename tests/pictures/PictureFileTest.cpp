#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <random>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <tests/pictures/PictureWriter.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/Ondrix.h>
#include <ondrix/platform/metalkit/PictureFile.h>

namespace ondrix {
namespace {

using enum MTLPixelFormat;

class PictureFileTest : public testing::Test {
protected:
    [[nodiscard]] std::string write(const std::filesystem::path& path, std::int64_t width, std::int64_t height,
                                    MTLPixelFormat format = bgra8Unorm, std::int64_t gap = 0) {
        NSError error;
        const bool written = PictureFile::write(path, width, height, format, pixels.data(), 4 * width + gap, &error);
        EXPECT_EQ(written, error.localizedDescription().empty());
        return error.localizedDescription();
    }
    [[nodiscard]] std::ptrdiff_t fileCount() const {
        return std::distance(std::filesystem::directory_iterator(folder.path()), {});
    }
    const test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "picture.png";
    std::vector<std::uint8_t> pixels = std::vector<std::uint8_t>(40000);
};

/// Rows with gaps, both orders of colours, with and without an alpha channel in the file.
TEST_F(PictureFileTest, IsReadBackToTheLastPixel) {
    constexpr std::int64_t width = 37, height = 23, gap = 12;
    for (const MTLPixelFormat format : {rgba8Unorm, rgba8Unorm_srgb, bgra8Unorm, bgra8Unorm_srgb}) {
        for (const bool opaque : {false, true}) {
            std::mt19937 random(7);
            for (std::size_t index = 0; index < pixels.size(); ++index) {
                pixels[index] = opaque && index % 4 == 3 ? 255 : static_cast<std::uint8_t>(random());
            }
            ASSERT_EQ(write(file, width, height, format, gap), "");
            const bool blueFirst = format == bgra8Unorm || format == bgra8Unorm_srgb;
            std::vector<std::uint8_t> expected;
            for (std::int64_t at = 0; at < width * height; ++at) {
                const std::uint8_t* const pixel = &pixels[at / width * (4 * width + gap) + 4 * (at % width)];
                expected.insert(expected.end(),
                                {pixel[blueFirst ? 0 : 2], pixel[1], pixel[blueFirst ? 2 : 0], pixel[3]});
            }
            EXPECT_TRUE(test::LoadedPicture(URL(file)).bytes == expected) << description(format) << ' ' << opaque;
        }
    }
}

TEST_F(PictureFileTest, ReplacesWhatALinkStandsForAndKeepsItsPermissions) {
    const auto target = folder.write("target", "before");
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    std::filesystem::create_symlink("target", file);
    ASSERT_EQ(write(file, 2, 2), "");
    EXPECT_TRUE(std::filesystem::is_symlink(file));
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms{0640});
    EXPECT_EQ(test::LoadedPicture(URL(target)).bytes.size(), 16u);
    EXPECT_EQ(fileCount(), 2);
}

/// Also of a disk that takes a part: what was there stays, and nothing is added.
TEST_F(PictureFileTest, LeavesEverythingAsItWasOnFailure) {
    (void)folder.write("picture.png", "before");
    const std::tuple<std::filesystem::path, std::int64_t, std::int64_t, MTLPixelFormat, const char*> cases[] = {
        {folder.path() / "missing" / "picture.png", 2, 2, bgra8Unorm, "No such file or directory"},
        {folder.path(), 2, 2, bgra8Unorm, "it is not a regular file"},
        {file, 2, 2, rg8Unorm, "a picture file can't hold pixels of the format MTLPixelFormatRG8Unorm (30)"},
        {file, -1, 2, bgra8Unorm, "the picture has no pixels (0x2)"},
        {file, 2, 16385, bgra8Unorm, "the picture is too large (2x16385 pixels, 16384 a side are possible)"},
        {file, 100, 100, bgra8Unorm, "File too large"},
    };
    std::mt19937 random(3);
    for (auto& byte : pixels) byte = static_cast<std::uint8_t>(random());
    rlimit previous{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &previous), 0);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limited{10000, previous.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limited);
    for (const auto& [path, width, height, format, reason] : cases) {
        EXPECT_EQ(write(path, width, height, format), reason);
    }
    ::setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previousHandler);
    EXPECT_EQ(fileCount(), 1);
    EXPECT_EQ(std::filesystem::file_size(file), 6u);
}

TEST_F(PictureFileTest, TexturesAreSavedAsTheyAreStoredAndLoadedFromMemory) {
    const auto device = DeviceManager::shared().defaultDevice();
    const float floats[] = {-1, 0.2f, 0.5f, 7, NAN, 1, 0, 1};
    const std::uint16_t halves[] = {0x3400, 0xbc00, 0x03ff, 0x7c00};  // 0.25, -1, almost 0, infinity
    const std::uint8_t bytes[] = {10, 20, 30, 255, 40, 50, 60, 255};
    // Two stored pixels, and what the file has of them, blue first.
    const std::tuple<MTLPixelFormat, const void*, std::vector<int>> cases[] = {
        {bgra8Unorm_srgb, bytes, {10, 20, 30, 255, 40, 50, 60, 255}},
        {rgba8Unorm, bytes, {30, 20, 10, 255, 60, 50, 40, 255}},
        {r8Unorm, bytes, {10, 10, 10, 255, 20, 20, 20, 255}},
        {rg8Unorm, bytes, {0, 20, 10, 255, 0, 255, 30, 255}},
        {rg16Float, halves, {0, 0, 64, 255, 0, 255, 0, 255}},
        {rgba32Float, floats, {128, 51, 0, 255, 0, 255, 0, 255}}};
    for (const auto& [format, stored, bgra] : cases) {
        const auto texture = device->makeTexture(2, 1, format, MTLTextureUsage::shaderRead);
        ASSERT_TRUE(writePixels(*texture, stored, 2 * pixelFormatInfo(format)->bytesPerPixel, nullptr));
        NSError error;
        ASSERT_TRUE(savePicture(*texture, file, &error)) << error.localizedDescription();
        const std::string content = test::contentOf(file);
        const auto loaded = loadPicture(device, content.data(), static_cast<Int>(content.size()), false, &error);
        ASSERT_NE(loaded, nullptr) << error.localizedDescription();
        const auto read = readPixels(*loaded, nullptr);
        ASSERT_TRUE(read);
        const auto isSame = [](std::byte a, int b) { return static_cast<int>(a) == b; };
        EXPECT_TRUE(std::ranges::equal(read->bytes, bgra, isSame)) << description(format);
        EXPECT_EQ(loadPicture(device, content.data(), 20, true, &error), nullptr);
        EXPECT_FALSE(savePicture(*texture, folder.path() / "none" / "picture.png", &error));
        EXPECT_FALSE(error.localizedDescription().empty());
    }
}

}  // namespace
}  // namespace ondrix
