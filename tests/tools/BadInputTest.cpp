// What a user reads when the program can't do what it was asked: always one line, and never half a picture.
#include <sys/resource.h>

#include "Program.h"

namespace {

using ondrix::test::JPEGContent;
using ondrix::test::PNGContent;
using testing::ElementsAre;

using BadInput = ProgramTest;

// A crash, a hang, memory as the file claims it, a picture made of what could be read, or an earlier result lost.
TEST_F(BadInput, ABadPictureIsRefusedWithAReason) {
    const Picture noise = Picture::noise(61, 47, 1);
    const std::string whole = png(noise);
    const std::string jpeg = encode(JPEGContent{.width = 61, .height = 188, .samples = noise.bytes});
    const std::string huge = encode(PNGContent{.width = 100000, .height = 100000}, true);
    (void)folder.write("out.png", "earlier");
    for (const auto& content :
         {std::string(), whole.substr(0, whole.size() / 2), huge, jpeg.substr(0, jpeg.size() / 2)}) {
        SCOPED_TRACE(content.size());
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
    // A small picture is written only when the file is closed.
    for (const auto& [output, size, reason] :
         {std::tuple(file("missing/out.png"), "64x64", "No such file or directory"),
          {file("in.png/out.png"), "64x64", "Not a directory"},
          {file("folder"), "64x64", "Is a directory"},
          {"/dev/full", "64x64", "No space left on device"},
          {"/dev/full", "2x2", "No space left on device"}}) {
        expectReason(runOndrix({"present", input, output, "--size", size}), output, reason);
        EXPECT_THAT(names(), ElementsAre("folder", "in.png"));
    }
    const rlimit most{10000, RLIM_INFINITY}, before{RLIM_INFINITY, RLIM_INFINITY};  // bytes of a file
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &most), 0);
    for (const auto& environment : {std::vector<std::string>(), withFaults({"FAULT_NAMELESS=1"})}) {
        if (!environment.empty() && !hasFaults) continue;
        expectReason(runOndrix({"present", input, out, "--size", "64x64"}, environment), out, "File too large");
        EXPECT_THAT(names(), ElementsAre("folder", "in.png"));
    }
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
}

// A fatal stop of the framework; a forced SIMD level that doesn't exist, put down to a missing library.
TEST_F(BadInput, NoDeviceOrNoModuleForTheForcedLevelIsReported) {
    const std::string input = folder.write("in.png", png(Picture::noise(4, 4, 1)));
    for (const char* command : {"present", "blit"}) {
        const std::vector<std::string> arguments{command, input, out, "--size", "8x8"};
        expectReason(runOndrix(arguments, {"ONDRIX_DEVICE=none"}), input, "no GPU");
        expectReason(runOndrix(arguments, {"ONDRIX_SIMD=abacus"}), input, "abacus");
    }
}

TEST(WrongUse, EndsWithStatusTwo) {
    expectWrongUse({}, "A command is required");
    expectWrongUse({"present", "a", "--size", "1x1"}, "OUTPUT");
    expectWrongUse({"present", "a", "b", "--size", "1x1", "--mode", "wide"}, "--mode");
    for (const char* size : {"0x10", "99999x99999", "1x2x3", "1.5x2", "18446744073709551617x1"}) {
        expectWrongUse({"present", "a", "b", "--size", size}, "from 1x1 to 16384x16384");
    }
}

}  // namespace
