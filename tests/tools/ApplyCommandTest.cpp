// The commands `nv12`, `apply` and `devices`.
#include <tests/support/Frames.h>

#include "Program.h"

namespace {

using NV12Command = ProgramTest;

// Ranges exchanged, planes or rows misplaced, red and blue exchanged.
TEST_F(NV12Command, ConvertsBothRanges) {
    using namespace ondrix;
    const auto converter = DeviceManager::shared().defaultDevice()->textureConverter();
    for (const auto& [range, format] : {std::pair("full", kCVPixelFormatType_420YpCbCr8BiPlanarFullRange),
                                        {"video", kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange}}) {
        const auto frame = test::noise(70, 36, format);
        std::string bytes;
        for (const Int plane : {0, 1}) std::ranges::copy(test::bytesOf(frame, plane), std::back_inserter(bytes));
        EXPECT_EQ(result("nv12", bytes, {"--size", "70x36", "--range", range}),
                  test::pictureOf(*converter->texture(frame)));
    }
}

TEST_F(NV12Command, SaysHowManyBytesAFrameHas) {
    const std::string bytes(48, 'x');
    for (const auto& [content, size, reason] : {std::tuple(bytes.substr(1), "8x4", "48 bytes"),
                                                {bytes + "x", "8x4", "48 bytes"},
                                                {bytes, "16384x16384", "402653184 bytes"},
                                                {bytes, "7x3", "48 bytes"}}) {
        expectReason(run("nv12", content, {"--size", size, "--range", "full"}), in, reason);
    }
    EXPECT_FALSE(std::filesystem::exists(out));
}

using ApplyCommand = ProgramTest;

TEST_F(ApplyCommand, RunsTheFunctionOverThePictureOrTheSizeAsked) {
    std::vector<std::string> options{"--library", ONDRIX_TEST_LIBRARY, "--function", "Test::Invert"};
    const Picture picture = Picture::noise(50, 41, 1);
    Picture inverted = picture;
    for (std::size_t i = 0; i < inverted.bytes.size(); ++i) {
        if (i % 4 != 3) inverted.bytes[i] = static_cast<std::uint8_t>(~inverted.bytes[i]);
    }
    EXPECT_EQ(result("apply", png(picture), options), inverted);
    options.insert(options.end(), {"--size", "20x60"});
    const Picture other = result("apply", png(picture), options);
    ASSERT_EQ(std::pair(other.width, other.height), (std::pair<ondrix::Int, ondrix::Int>(20, 60)));
    EXPECT_EQ(other.at(19, 40, 0), inverted.at(19, 40, 0));
}

TEST_F(ApplyCommand, NamesWhatIsNoLibraryOrWhatFunctionDoesNotFit) {
    for (const auto& [library, function, reason] :
         {std::tuple(file("missing.oxlib"), "F", "Failed to create shader library from URL"),
          {ONDRIX_TEST_LIBRARY, "Test::Missing", "Failed to load shader function 'Test::Missing' from library"},
          {ONDRIX_TEST_LIBRARY, "Test::NeedsConstants", "Test::NeedsConstants"}})
        expectReason(run("apply", png(Picture(2, 2)), {"--library", library, "--function", function}), library, reason);
    EXPECT_FALSE(std::filesystem::exists(out));
    const std::string shared = file("shared.oxlib");
    std::filesystem::copy(ONDRIX_TEST_LIBRARY, shared);
    std::filesystem::permissions(shared, std::filesystem::perms::all);
    std::vector<std::string> options{"--library", shared, "--function", "Test::Invert"};
    expectReason(run("apply", png(Picture(2, 2)), options), shared, "'" + shared + "' can be changed by other users");
    options.emplace_back("--trust-library");
    EXPECT_EQ(run("apply", png(Picture(2, 2)), options).errors, "");
}

TEST(DevicesCommand, ListsTheDefaultDevice) {
    const std::string text = runOndrix({"devices"}).output;
    const std::string name = text.substr(0, text.find(" (default)"));
    EXPECT_EQ(runOndrix({"devices", "--json"}).output, "[{\"name\": \"" + name + "\", \"default\": true}]\n");
    const Outcome none = runOndrix({"devices", "--json"}, {"ONDRIX_DEVICE=none"});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.output, "[]\n");
}

}  // namespace
