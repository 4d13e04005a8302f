// What the commands `present` and `blit` make of a picture, seen in the file that they write.
#include "Program.h"

namespace {

using ondrix::test::Picture;

/// Eight blocks of 16 x 16 pixels, each a letter in the blue channel.
Picture blocks() {
    Picture picture(64, 32);
    for (std::size_t i = 0; i < 64 * 32; ++i) {
        picture.bytes[4 * i] = static_cast<std::uint8_t>("RGBWCMYO"[i / 1024 * 4 + i % 64 / 16]);
        picture.bytes[4 * i + 3] = 255;
    }
    return picture;
}

/// The letters at the centres of 4 x 4 cells, rows parted by blanks, - for the black around a picture.
std::string cells(const Picture& picture) {
    std::string text;
    for (int cell = 0; cell < 16; ++cell) {
        if (cell % 4 == 0 && cell > 0) text += ' ';
        const int x = 2 * (cell % 4) + 1, y = 2 * (cell / 4) + 1;
        const int letter = picture.at(x * picture.width / 8, y * picture.height / 8, 0);
        text += letter == 0 ? '-' : static_cast<char>(letter);
    }
    return text;
}

using PresentCommand = ProgramTest;
using BlitCommand = ProgramTest;

// A mode mistaken for another, a turn the wrong way round, a mirror before the turn, a picture distorted by a turn.
TEST_F(PresentCommand, PlacesThePicture) {
    const std::tuple<const char*, std::vector<std::string>, const char*> cases[] = {
        {"64x64", {}, "---- RGBW CMYO ----"},
        {"64x64", {"--mode", "fill"}, "GGBB GGBB MMYY MMYY"},
        {"64x64", {"--mode", "stretch"}, "RGBW RGBW CMYO CMYO"},
        {"64x32", {"--flip"}, "WBGR WBGR OYMC OYMC"},
        {"32x64", {"--rotate", "90"}, "CCRR MMGG YYBB OOWW"},
        {"32x64", {"--rotate", "270"}, "WWOO BBYY GGMM RRCC"},
        {"32x64", {"--rotate", "90", "--flip"}, "RRCC GGMM BBYY WWOO"},
        {"8x16", {"--rotate", "90", "--flip"}, "RRCC GGMM BBYY WWOO"},
        {"16x16", {"--filter", "nearest"}, "---- RGBW CMYO ----"},
    };
    for (auto [size, options, expected] : cases) {
        SCOPED_TRACE(testing::PrintToString(options));
        options.insert(options.end(), {"--size", size});
        const Picture picture = result("present", png(blocks()), options);
        EXPECT_EQ(std::to_string(picture.width) + "x" + std::to_string(picture.height), size);
        EXPECT_EQ(cells(picture), expected);
    }
}

// A filter mistaken for another, and another one than promised where none is given.
TEST_F(PresentCommand, FiltersAsAsked) {
    Picture line(90, 2);
    for (std::size_t i = 0; i < 180; ++i) std::memset(&line.bytes[4 * i], i % 90 / 2 == 21 ? 255 : 0, 3);
    for (const auto& [options, level] :
         std::vector<std::pair<std::vector<std::string>, int>>{{{}, 170},
                                                               {{"--filter", "area"}, 170},
                                                               {{"--filter", "nearest"}, 255},
                                                               {{"--filter", "linear"}, 255},
                                                               {{"--filter", "lanczos"}, 154}}) {
        std::vector<std::string> all{"--size", "30x2", "--mode", "stretch"};
        all.insert(all.end(), options.begin(), options.end());
        EXPECT_EQ(result("present", png(line), all).at(14, 1, 0), level) << testing::PrintToString(options);
    }
}

// Channels exchanged, alpha dropped, premultiplied or made up, rows shifted, on the way in or out.
TEST_F(PresentCommand, NothingChangesWhenNothingIsAsked) {
    const Picture picture = Picture::noise(37, 11, 1);
    for (const char* command : {"present", "blit"})
        EXPECT_EQ(result(command, png(picture), {"--size", "37x11"}), picture);
}

// A file that stays beside the output, a link or a mode that isn't kept.
TEST_F(PresentCommand, ReplacesWhatALinkStandsForAndKeepsItsMode) {
    std::filesystem::permissions(folder.write("target", "before"), std::filesystem::perms{0640});
    std::filesystem::create_symlink("target", out);
    const Picture picture = Picture::noise(4, 4, 1);
    EXPECT_EQ(result("present", png(picture), {"--size", "4x4"}), picture);
    EXPECT_TRUE(std::filesystem::is_symlink(out));
    EXPECT_EQ(std::filesystem::status(file("target")).permissions(), std::filesystem::perms{0640});
    EXPECT_THAT(names(), testing::ElementsAre("in", "out.png", "target"));
}

// A pass mistaken for the other.
TEST_F(BlitCommand, RenderStretchesAndComputeCopies) {
    EXPECT_EQ(cells(result("blit", png(blocks()), {"--size", "128x16", "--pass", "render"})), "RGBW RGBW CMYO CMYO");
    EXPECT_EQ(cells(result("blit", png(blocks()), {"--size", "128x64", "--pass", "compute"})), "GW-- MO-- ---- ----");
}

}  // namespace
