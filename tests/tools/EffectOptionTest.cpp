// Effects by name, from the command line to the picture.
#include "Program.h"

namespace {

using testing::HasSubstr;

class EffectOption : public ProgramTest {
protected:
    /// The picture that `effects` make, each member an option of its own.
    Picture drawn(const std::string& input, const std::vector<std::string>& effects) const {
        std::vector<std::string> options{"--size", "61x47"};
        for (const std::string& effect : effects) options.insert(options.end(), {"--effect", effect});
        return result("present", input, options);
    }
};

// Another order, an effect left out or run on the wrong one of two textures, a value that goes to another effect; an
// even and an odd number of them.
TEST_F(EffectOption, AChainIsItsEffectsOneAfterTheOther) {
    const std::vector<std::string> effects{"colour=saturation=0:contrast=2.5", "gaussian-blur=radius=3",
                                           "vignette=strength=1", "edges"};
    std::string chain;
    Picture before = Picture::noise(61, 47, 1);
    for (auto& byte : before.bytes) byte |= 0x80;  // opaque enough
    const std::string input = png(before);
    for (const std::string& effect : effects) {
        chain += (chain.empty() ? "" : ",") + effect;
        const Picture after = drawn(png(before), {effect});
        EXPECT_NE(after, before) << effect;
        EXPECT_EQ(drawn(input, {chain}), after) << chain;
        before = after;
    }
    EXPECT_EQ(drawn(input, {effects[0] + "," + effects[1], effects[2] + "," + effects[3]}), before);
}

TEST_F(EffectOption, ReadsFilesWhoseNamesHoldTheMarks) {
    const std::string input = png(Picture::noise(61, 47, 1)), other = png(Picture::noise(61, 47, 2));
    (void)folder.write("a,b:c\\d=1.png", other);
    EXPECT_EQ(drawn(input, {"cross-fade=amount=1:picture=" + file("a\\,b\\:c\\d=1.png")}), drawn(other, {}));
}

TEST_F(EffectOption, SaysWhatIsWrongAndWhatIsNear) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"vignete", {"no effect 'vignete'; did you mean 'vignette'?"}},
        {"colour,xyz", {"no effect 'xyz'; the effects are colour, "}},
        {"vignette=strenght=1", {"'vignette' has no key 'strenght'; did you mean 'strength'?"}},
        {"vignette=strength=1.5", {"strength must be from 0 to 1, not 1.5"}},
        {"vignette=strength=nan", {"'nan' is not a number", "from 0 to 1"}},
        {"vignette=strength", {"takes key=value", "'strength'"}},
        {"vignette=strength=1:strength=0", {"'strength' twice"}},
        {"colour,", {"no name"}},
        {"look-up", {"'look-up' needs table=FILE, a .cube file"}},
        {"cross-fade=amount=1", {"needs picture=FILE"}},
    };
    for (const auto& [effects, reasons] : cases) {
        const Outcome outcome = runOndrix({"present", in, out, "--size", "8x8", "--effect", effects});
        EXPECT_EQ(outcome.status, 2) << effects;
        EXPECT_THAT(outcome.errors, testing::MatchesRegex("ondrix: --effect: [^\n]*\n"));
        for (const char* reason : reasons) EXPECT_THAT(outcome.errors, HasSubstr(reason));
    }
}

TEST_F(EffectOption, NamesTheFileThatCantBeRead) {
    const std::string picture = png(Picture::noise(8, 8, 1));
    const std::string cube = folder.write("bad.cube", "LUT_3D_SIZE 2\n0 0 zero\n");
    for (const char* effect : {"look-up=table=", "cross-fade=picture="}) {
        for (const std::string& bad : {file("missing"), cube})
            expectReason(run("present", picture, {"--size", "8x8", "--effect", effect + bad}), bad);
    }
    EXPECT_FALSE(std::filesystem::exists(out));
}

}  // namespace
