// Libraries that the program builds from their sources, once and whenever they are saved.
#include <signal.h>

#include "Program.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// A library whose only compute function writes `colour`.
std::string source(const std::string& colour) {
    return R"(#include <ondrix/shading/Shading.h>
using namespace ondrix::shading;
namespace {
inline void CS_Main(const Position& p, const Texture<0>&, const Target<1>& out) {
    out.write(p, )" +
           colour + R"();
}
const FunctionTable functions{computeFunction<CS_Main>("Only")};
})";
}

class SourceLibrary : public ProgramTest {
protected:
    Outcome apply(const std::string& library, std::vector<std::string> options = {},
                  const std::vector<std::string>& environment = {}) const {
        options.insert(options.begin(), {"apply", folder.write("in", png(picture)), out, "--library", library});
        Outcome outcome = runOndrix(options, environment);
        outcome.peakKilobytes = 0;  // the compiler's
        return outcome;
    }
    RunningProgram watch(const std::string& library, const std::string& variable) const {
        return {{"apply", folder.write("in", png(picture)), out, "--library", library, "--watch"}, {variable}};
    }

    const Picture picture = Picture::noise(20, 11, 1);
    const std::string red = "Float4{1, 0, 0, 1}", blue = "Float4{0, 0, 1, 1}";
};

// Other flags than a built library has, a folder of sources that isn't linked, builds that stay behind.
TEST_F(SourceLibrary, DoesWhatTheBuiltOneDoes) {
    const std::vector<std::string> invert{"--function", "Test::Invert"};
    EXPECT_EQ(apply(ONDRIX_TEST_LIBRARY, invert).errors, "");
    const Picture wanted = shown();
    (void)folder.write("sources/Only.cpp", source(red));
    std::filesystem::copy(ONDRIX_TEST_SOURCE, file("sources/More.cpp"));
    const std::string temporary = "TMPDIR=" + folder.makeFolder("temporary").string();
    for (const auto& [library, level] : {std::pair(file("sources"), "ONDRIX_SIMD="),
                                         {file("sources/More.cpp"), "ONDRIX_SIMD=plain"},
                                         {file("sources/More.cpp"), "ONDRIX_VALIDATE=1"}}) {
        std::filesystem::remove(out);
        EXPECT_EQ(apply(library, invert, {temporary, level}).errors, "");
        EXPECT_EQ(shown(), wanted) << library << level;
    }
    expectReason(apply(file("sources")), file("sources"),
                 "Choose by --function: Only, Test::Invert, Test::NeedsConstants");
    EXPECT_TRUE(std::filesystem::is_empty(file("temporary")));
}

TEST_F(SourceLibrary, NamesTheLineThatDoesNotCompileOrWhatIsMissing) {
    const std::string bad = folder.write("bad.cpp", source("colour"));
    expectReason(apply(bad), bad + ":5", "'colour'");
    // An error inside the framework's headers stands where the source led to it.
    const std::string slot = folder.write("slot.cpp", source("Float4{p, p, p, p}"));
    expectReason(apply(slot), slot + ":5");
    expectReason(apply(bad, {}, {"CXX=none-such -O2"}), bad, "'none-such -O2' (CXX)");
    expectReason(apply(bad, {}, {"PATH="}), bad, "no C++ compiler");
    expectReason(apply(file("missing.cpp"), {"--watch"}), file("missing.cpp"), "No such file");
    EXPECT_EQ(apply(ONDRIX_TEST_LIBRARY, {"--watch"}).status, 2);
    EXPECT_FALSE(std::filesystem::exists(out));
}

// A save that is missed, an old module that is used again, a picture lost by an error, builds that stay behind; saving
// as editors do, by another file.
TEST_F(SourceLibrary, IsBuiltAgainWhenItIsSaved) {
    const std::string library = folder.write("live.cpp", source("mistake"));
    const std::string temporary = folder.makeFolder("temporary");
    RunningProgram program = watch(library, "TMPDIR=" + temporary);
    EXPECT_THAT(program.waitForLine("ondrix: "), StartsWith("ondrix: " + library + ":5: 'mistake'"));
    EXPECT_THAT(program.waitForLine("|"), HasSubstr("out.write(p, mistake);"));
    for (const std::string& colour : {red, blue}) {
        std::filesystem::rename(folder.write("new", source(colour)), library);
        (void)program.waitForLine(out + ": drawn");
        EXPECT_EQ(shown().at(3, 3, 2), colour == red ? 255 : 0);
    }
    (void)folder.write("live.h", "#error soon\n");
    (void)program.waitForLine(out + ": drawn");
    (void)folder.write("live.cpp", "#include \"live.h\"\n");
    EXPECT_THAT(program.waitForLine("ondrix: "), StartsWith("ondrix: " + file("live.h:1")));
    EXPECT_EQ(shown().at(3, 3, 0), 255);
    EXPECT_EQ(program.end(SIGINT), 0);
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

TEST_F(SourceLibrary, AnInterruptionEndsABuild) {
    const std::string compiler =
        folder.write("slow", "#!/bin/sh\nfor option; do [ \"$option\" != -c ] || exec sleep 600; done\n");
    std::filesystem::permissions(compiler, std::filesystem::perms::owner_all);
    RunningProgram program = watch(folder.write("live.cpp", source(red)), "CXX=" + compiler);
    (void)program.waitForLine("watched");
    EXPECT_EQ(program.end(SIGINT), 0);
}

}  // namespace
