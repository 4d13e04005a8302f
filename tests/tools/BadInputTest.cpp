// What a user reads when the program can't do what it was asked: always one line, and never half a picture.
#include "Program.h"

namespace {

using ondrix::test::JPEGContent;
using ondrix::test::PNGContent;
using testing::ElementsAre;
using testing::HasSubstr;

using BadInput = ProgramTest;

// A crash, a hang, memory as the file claims it, a picture made of what could be read, or an earlier result lost.
TEST_F(BadInput, ABadPictureIsRefusedWithAReason) {
    const Picture noise = Picture::noise(61, 47, 1);
    const std::string whole = png(noise);
    std::string corrupted = whole;
    corrupted[whole.size() - 14] ^= 0x55;
    const std::string jpeg = encode(JPEGContent{.width = 61, .height = 188, .samples = noise.bytes});
    const std::pair<const char*, std::string> cases[] = {
        {"empty", ""},
        {"random bytes", {noise.bytes.begin(), noise.bytes.end()}},
        {"PNG with nothing else", whole.substr(0, 8)},
        {"PNG cut in half", whole.substr(0, whole.size() / 2)},
        {"PNG with wrong checksum", corrupted},
        {"PNG of huge size", encode(PNGContent{.width = 100000, .height = 100000}, true)},
        {"JPEG with nothing else", jpeg.substr(0, 3)},
        {"JPEG cut in half", jpeg.substr(0, jpeg.size() / 2)},
    };
    (void)folder.write("out.png", "earlier");
    for (const auto& [name, content] : cases) {
        SCOPED_TRACE(name);
        for (const char* command : {"present", "blit"}) {
            expectReason(run(command, content, {"--size", "20x20"}), in);
            EXPECT_THAT(names(), ElementsAre("in", "out.png"));
            EXPECT_EQ(::content(out), "earlier");
        }
    }
}

TEST_F(BadInput, AMissingFileOrAFolderIsNamed) {
    for (const std::string& input : {file("missing.png"), file("."), file("a\nb.png")}) {
        std::string shown = input;
        std::replace(shown.begin(), shown.end(), '\n', '?');
        expectReason(runOndrix({"present", input, out, "--size", "8x8"}), shown);
        expectReason(runOndrix({"nv12", input, out, "--size", "8x8", "--range", "full"}), shown);
        expectReason(runOndrix({"apply", input, out, "--library", ONDRIX_TEST_LIBRARY, "--function", "Test::Invert"}),
                     shown);
    }
    EXPECT_TRUE(names().empty());
}

TEST_F(BadInput, ABadOutputIsReportedWithTheSystemsReason) {
    const std::string input = folder.write("in.png", png(Picture::noise(64, 64, 1)));
    std::filesystem::create_directory(file("folder"));
    for (const auto& [output, reason] : {std::pair(file("missing/out.png"), "No such file or directory"),
                                         {file("in.png/out.png"), "Not a directory"},
                                         {file("folder"), "Is a directory"},
                                         {"/dev/full", "No space left on device"}}) {
        expectReason(runOndrix({"present", input, output, "--size", "64x64"}), output, reason);
        EXPECT_THAT(names(), ElementsAre("folder", "in.png"));
    }
}

// A fatal stop of the framework; a forced SIMD level that doesn't exist, put down to a missing library.
TEST_F(BadInput, NoDeviceOrNoModuleForTheForcedLevelIsReported) {
    const std::string input = folder.write("in.png", png(Picture::noise(4, 4, 1)));
    for (const auto& [variable, reason] :
         {std::pair("ONDRIX_DEVICE=none", "no GPU"), {"ONDRIX_SIMD=abacus", "abacus"}}) {
        for (const char* command : {"present", "blit"})
            expectReason(runOndrix({command, input, out, "--size", "8x8"}, {variable}), input, reason);
    }
}

TEST(WrongUse, EndsWithStatusTwo) {
    const auto expectWrong = [](const std::vector<std::string>& arguments, const char* reason) {
        const Outcome outcome = runOndrix(arguments);
        EXPECT_EQ(outcome.status, 2) << reason;
        EXPECT_EQ(outcome.output, "");
        EXPECT_THAT(outcome.errors, testing::AllOf(testing::StartsWith("ondrix: "), HasSubstr(reason)));
    };
    expectWrong({}, "A command is required");
    expectWrong({"paint"}, "paint");
    expectWrong({"present", "a", "b"}, "--size");
    expectWrong({"present", "a", "--size", "1x1"}, "OUTPUT");
    expectWrong({"present", "a", "b", "--size", "1x1", "--mode", "wide"}, "--mode");
    expectWrong({"present", "a", "b", "--size", "1x1", "--rotate", "45"}, "--rotate");
    expectWrong({"present", "a", "b", "c", "--size", "1x1"}, "c");
    expectWrong({"blit", "a", "b", "--size", "1x1", "--pass", "ray"}, "--pass");
    expectWrong({"nv12", "a", "b", "--size", "2x2"}, "--range");
    expectWrong({"apply", "a", "b", "--function", "c"}, "--library");
    for (const char* size :
         {"", "0x10", "-5x5", "abc", "99999x99999", "100", "1x2x3", "1.5x2", " 1x1", "18446744073709551617x1"}) {
        SCOPED_TRACE(size);
        expectWrong({"present", "a", "b", "--size", size}, "from 1x1 to 16384x16384");
    }
}

}  // namespace
