// The commands `nv12`, `apply` and `devices`.
#include <algorithm>
#include <cmath>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Picture.h"
#include "Program.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::uint8_t stored(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

/// A frame of noise; luma plane, then interleaved chroma.
std::string frame(int width, int height) {
    std::string bytes;
    std::uint32_t state = 7;
    for (int index = 0; index < width * height * 3 / 2; ++index) {
        state = state * 1664525 + 1013904223;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

/// BT.709 in double precision for one pixel of `frame`.
Picture::Pixel converted(const std::string& bytes, int width, int height, int x, int y, bool full) {
    const auto value = [&bytes](int at) { return static_cast<double>(static_cast<std::uint8_t>(bytes[at])); };
    const int chroma = width * height + (y / 2) * width + (x / 2) * 2;
    const double luma = full ? value(y * width + x) : 1.164 * value(y * width + x) - 0.07275 * 255;
    const double blue = value(chroma) - 127.5, red = value(chroma + 1) - 127.5;
    if (full)
        return {stored(luma + 1.575 * red), stored(luma - 0.187 * blue - 0.468 * red), stored(luma + 1.856 * blue),
                255};
    return {stored(luma + 1.793 * red), stored(luma - 0.213 * blue - 0.533 * red), stored(luma + 2.112 * blue), 255};
}

// Ranges exchanged, planes misplaced, red and blue exchanged.
TEST(NV12Command, ConvertsBothRanges) {
    const Workspace folder;
    const std::string bytes = frame(70, 36);
    const std::string input = folder.write("in.raw", bytes);
    for (const bool full : {true, false}) {
        const Outcome outcome =
            runOndrix({"nv12", input, folder.file("out.png"), "--size", "70x36", "--range", full ? "full" : "video"});
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
        const Picture picture = Picture::read(folder.file("out.png"));
        ASSERT_EQ(picture.pixels.size(), 70U * 36U);
        int largestError = 0;
        for (int y = 0; y < 36; ++y) {
            for (int x = 0; x < 70; ++x) {
                const Picture::Pixel expected = converted(bytes, 70, 36, x, y, full);
                for (int channel = 0; channel < 4; ++channel)
                    largestError = std::max(largestError, std::abs(picture.at(x, y)[channel] - expected[channel]));
            }
        }
        EXPECT_LE(largestError, 1) << (full ? "full" : "video");
    }
}

TEST(NV12Command, SaysHowManyBytesAFrameHas) {
    const Workspace folder;
    const auto errors = [&folder](const std::string& bytes, const char* size) {
        const Outcome outcome = runOndrix(
            {"nv12", folder.write("in.raw", bytes), folder.file("out.png"), "--size", size, "--range", "full"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_LT(outcome.peakKilobytes, memoryLimit);
        EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
        return outcome.errors;
    };
    EXPECT_THAT(errors(frame(8, 4).substr(1), "8x4"), HasSubstr("48 bytes"));
    EXPECT_THAT(errors(frame(8, 4) + "x", "8x4"), HasSubstr("48 bytes"));
    EXPECT_THAT(errors(frame(8, 4), "16384x16384"), HasSubstr("402653184 bytes"));
    EXPECT_THAT(errors("", "2x2"), HasSubstr("6 bytes"));
    EXPECT_THAT(errors(frame(8, 4), "7x4"), HasSubstr("48 bytes"));
    EXPECT_THAT(errors(frame(8, 4), "8x3"), HasSubstr("48 bytes"));
}

class ApplyCommand : public testing::Test {
protected:
    Outcome apply(const std::string& library, const std::string& function, std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"apply", folder_.write("in.png", picture_.png()), folder_.file("out.png"),
                                   "--library", library, "--function", function});
        return runOndrix(more);
    }
    void expectFailure(const Outcome& outcome, const std::string& library, const std::string& reason) {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors, StartsWith("ondrix: " + library + ": "));
        EXPECT_THAT(outcome.errors, HasSubstr(reason));
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
        EXPECT_FALSE(std::filesystem::exists(folder_.file("out.png")));
    }

    Workspace folder_;
    Picture picture_ = Picture::noise(50, 41, false);
};

TEST_F(ApplyCommand, RunsTheFunctionOverThePicture) {
    const Outcome outcome = apply(ONDRIX_TEST_LIBRARY, "Test::Invert");
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    Picture expected = picture_;
    for (Picture::Pixel& pixel : expected.pixels) {
        for (int channel = 0; channel < 3; ++channel) pixel[channel] = static_cast<std::uint8_t>(255 - pixel[channel]);
    }
    EXPECT_EQ(Picture::read(folder_.file("out.png")).pixels, expected.pixels);
}

TEST_F(ApplyCommand, MakesAnOutputOfTheSizeAsked) {
    const Outcome outcome = apply(ONDRIX_TEST_LIBRARY, "Test::Invert", {"--size", "20x60"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    const Picture picture = Picture::read(folder_.file("out.png"));
    EXPECT_EQ(picture.width, 20);
    EXPECT_EQ(picture.height, 60);
    EXPECT_EQ(picture.at(19, 40)[0], 255 - picture_.at(19, 40)[0]);
}

TEST_F(ApplyCommand, NamesWhatIsNoLibrary) {
    const std::string missing = folder_.file("missing.oxlib");
    expectFailure(apply(missing, "F"), missing, "Failed to create shader library from URL");
    const std::string file = folder_.write("file.oxlib", "text");
    expectFailure(apply(file, "F"), file, "Failed to create shader library from URL");
    const std::string empty = folder_.file("empty.oxlib");
    std::filesystem::create_directory(empty);
    expectFailure(apply(empty, "F"), empty, "Failed to create shader library from URL");
}

TEST_F(ApplyCommand, NamesTheFunctionThatDoesNotFit) {
    expectFailure(apply(ONDRIX_TEST_LIBRARY, "Test::Missing"), ONDRIX_TEST_LIBRARY,
                  "Failed to load shader function 'Test::Missing' from library.");
    expectFailure(apply(ONDRIX_TEST_LIBRARY, "Test::Vertex"), ONDRIX_TEST_LIBRARY, "Test::Vertex");
    expectFailure(apply(ONDRIX_TEST_LIBRARY, "Test::NeedsConstants"), ONDRIX_TEST_LIBRARY, "Test::NeedsConstants");
}

TEST(DevicesCommand, ListsTheDefaultDevice) {
    const Outcome text = runOndrix({"devices"});
    EXPECT_EQ(text.status, 0) << text.errors;
    const std::string name = text.output.substr(0, text.output.find(" (default)"));
    const Outcome json = runOndrix({"devices", "--json"});
    EXPECT_EQ(json.output, "[{\"name\": \"" + name + "\", \"default\": true}]\n");
}

TEST(ProgramHelp, GoesToStandardOutput) {
    const Outcome version = runOndrix({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.output, StartsWith("ondrix " ONDRIX_VERSION));
    for (const char* command : {"devices", "present", "blit", "nv12", "apply"}) {
        EXPECT_THAT(runOndrix({"--help"}).output, HasSubstr(command));
        const Outcome help = runOndrix({command, "--help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.output, HasSubstr(command));
        EXPECT_THAT(help.errors, IsEmpty());
    }
}

}  // namespace
