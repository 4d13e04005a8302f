// What a user reads when the program can't do what it was asked: always one line, and never half a picture.
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include "Picture.h"
#include "Program.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// One line that begins with the program and the file, and says more.
void expectReason(const Outcome& outcome, const std::string& file) {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, AllOf(StartsWith("ondrix: " + file + ": "), EndsWith("\n")));
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    EXPECT_GT(outcome.errors.size(), file.size() + 16) << outcome.errors;
    EXPECT_LT(outcome.peakKilobytes, memoryLimit);
}

/// The file's header with other sides and a matching checksum.
std::string withSides(std::string png, std::uint32_t width, std::uint32_t height) {
    const auto store = [&png](std::size_t at, std::uint32_t value) {
        for (int byte = 0; byte < 4; ++byte) png[at + byte] = static_cast<char>(value >> (24 - 8 * byte));
    };
    store(16, width);
    store(20, height);
    store(29, static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(png.data()) + 12, 17)));
    return png;
}

std::string corrupted(std::string bytes, std::size_t at) {
    bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
    return bytes;
}

struct BadPicture {
    const char* name;
    std::string content;
};

class BadPictureFile : public testing::TestWithParam<BadPicture> {};

// A crash, a hang, memory as the file claims it, or a picture made of what could be read.
TEST_P(BadPictureFile, IsRefusedWithAReason) {
    const Workspace folder;
    const std::string input = folder.write("in", GetParam().content);
    for (const char* command : {"present", "blit"}) {
        const Outcome outcome = runOndrix({command, input, folder.file("out.png"), "--size", "20x20"});
        expectReason(outcome, input);
        EXPECT_THAT(folder.names(), ElementsAre("in"));
    }
}

std::vector<BadPicture> badPictures() {
    const Picture picture = Picture::noise(61, 47, true);
    const std::string png = picture.png(), jpeg = picture.jpeg();
    std::string random;
    for (const Picture::Pixel& pixel : Picture::noise(64, 64, false).pixels) random.append(pixel.begin(), pixel.end());
    return {{"Empty", ""},
            {"RandomBytes", random},
            {"PNGWithNothingElse", png.substr(0, 8)},
            {"PNGCutInHalf", png.substr(0, png.size() / 2)},
            {"PNGWithWrongHeaderChecksum", corrupted(png, 30)},
            {"PNGWithWrongDataChecksum", corrupted(png, png.size() - 14)},
            {"PNGOfHugeSize", withSides(png, 100000, 100000)},
            {"PNGOfZeroWidth", withSides(png, 0, 47)},
            {"JPEGCutInHalf", jpeg.substr(0, jpeg.size() / 2)},
            {"JPEGWithNothingElse", jpeg.substr(0, 3)}};
}

INSTANTIATE_TEST_SUITE_P(, BadPictureFile, testing::ValuesIn(badPictures()),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(BadInput, MissingFileAndFolder) {
    const Workspace folder;
    for (const std::string& input : {folder.file("missing.png"), folder.file(".")}) {
        expectReason(runOndrix({"present", input, folder.file("out.png"), "--size", "8x8"}), input);
        expectReason(runOndrix({"nv12", input, folder.file("out.png"), "--size", "8x8", "--range", "full"}), input);
        expectReason(runOndrix({"apply", input, folder.file("out.png"), "--library", ONDRIX_TEST_LIBRARY, "--function",
                                "Test::Invert"}),
                     input);
    }
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(BadInput, LineBreaksInANameStayOutOfTheMessage) {
    const Outcome outcome = runOndrix({"present", "a\nb.png", "out.png", "--size", "8x8"});
    expectReason(outcome, "a?b.png");
}

struct BadOutput {
    const char* name;
    const char* output;  ///< beside the input unless it is absolute
    const char* reason;
};

class BadOutputFile : public testing::TestWithParam<BadOutput> {};

TEST_P(BadOutputFile, IsReportedWithTheSystemsReason) {
    const Workspace folder;
    const std::string input = folder.write("in.png", Picture::noise(64, 64, false).png());
    std::filesystem::create_directory(folder.file("folder"));
    const std::string output = GetParam().output[0] == '/' ? GetParam().output : folder.file(GetParam().output);
    const Outcome outcome = runOndrix({"present", input, output, "--size", "64x64"});
    expectReason(outcome, output);
    EXPECT_THAT(outcome.errors, HasSubstr(GetParam().reason));
    EXPECT_THAT(folder.names(), ElementsAre("folder", "in.png"));
}

INSTANTIATE_TEST_SUITE_P(, BadOutputFile,
                         testing::Values(BadOutput{"MissingFolder", "missing/out.png", "No such file or directory"},
                                         BadOutput{"FileAsFolder", "in.png/out.png", "Not a directory"},
                                         BadOutput{"Folder", "folder", "Is a directory"},
                                         BadOutput{"FullDisk", "/dev/full", "No space left on device"}),
                         [](const auto& instance) { return std::string(instance.param.name); });

// A failure that takes the user's earlier result away.
TEST(BadInput, EarlierOutputStaysAfterAFailure) {
    const Workspace folder;
    const std::string output = folder.write("out.png", Picture::noise(3, 3, true).png());
    const std::string input = folder.write("in.png", "rubbish");
    expectReason(runOndrix({"present", input, output, "--size", "8x8"}), input);
    EXPECT_EQ(Picture::read(output).pixels, Picture::noise(3, 3, true).pixels);
}

// A fatal stop of the framework where no GPU is there.
TEST(BadInput, NoDevice) {
    const Workspace folder;
    const std::string input = folder.write("in.png", Picture::noise(4, 4, true).png());
    const std::vector<std::string> environment{"ONDRIX_DEVICE=none"};
    const Outcome outcome = runOndrix({"present", input, folder.file("out.png"), "--size", "8x8"}, environment);
    expectReason(outcome, input);
    EXPECT_THAT(outcome.errors, HasSubstr("no GPU"));
    const Outcome list = runOndrix({"devices", "--json"}, environment);
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.output, "[]\n");
}

// A forced SIMD level that doesn't exist, put down to a missing library.
TEST(BadInput, NoModuleForTheForcedLevel) {
    const Workspace folder;
    const std::string input = folder.write("in.png", Picture::noise(4, 4, true).png());
    const Outcome outcome = runOndrix({"blit", input, folder.file("out.png"), "--size", "8x8"}, {"ONDRIX_SIMD=abacus"});
    expectReason(outcome, input);
    EXPECT_THAT(outcome.errors, HasSubstr("abacus"));
}

struct BadUse {
    const char* name;
    std::vector<std::string> arguments;
    const char* expected;
};

class WrongUse : public testing::TestWithParam<BadUse> {};

TEST_P(WrongUse, EndsWithStatusTwo) {
    const Outcome outcome = runOndrix(GetParam().arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, AllOf(StartsWith("ondrix: "), HasSubstr(GetParam().expected)));
}

std::vector<BadUse> wrongUses() {
    constexpr const char* range = "from 1x1 to 16384x16384";
    std::vector<BadUse> uses{
        {"NoCommand", {}, "A command is required"},
        {"UnknownCommand", {"paint"}, "paint"},
        {"NoSize", {"present", "a", "b"}, "--size"},
        {"NoOutput", {"present", "a", "--size", "1x1"}, "OUTPUT"},
        {"UnknownMode", {"present", "a", "b", "--size", "1x1", "--mode", "wide"}, "--mode"},
        {"EighthTurn", {"present", "a", "b", "--size", "1x1", "--rotate", "45"}, "--rotate"},
        {"UnknownPass", {"blit", "a", "b", "--size", "1x1", "--pass", "ray"}, "--pass"},
        {"NoRange", {"nv12", "a", "b", "--size", "2x2"}, "--range"},
        {"NoFunction", {"apply", "a", "b", "--library", "c"}, "--function"},
        {"ThirdFile", {"present", "a", "b", "c", "--size", "1x1"}, "c"},
        {"SizeWithoutText", {"present", "a", "b", "--size", ""}, range},
    };
    int number = 0;
    static const std::string names[] = {"SizeZero",  "SizeNegative", "SizeWord",  "SizeTooLarge", "SizeOneSide",
                                        "SizeThree", "SizeFraction", "SizeBlank", "SizeOverflow"};
    for (const char* size :
         {"0x10", "-5x5", "abc", "99999x99999", "100", "1x2x3", "1.5x2", " 1x1", "18446744073709551617x1"})
        uses.push_back({names[number++].c_str(), {"present", "a", "b", "--size", size}, range});
    return uses;
}

INSTANTIATE_TEST_SUITE_P(, WrongUse, testing::ValuesIn(wrongUses()),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
