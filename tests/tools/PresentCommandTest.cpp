// What the commands `present` and `blit` make of a picture, seen in the file that they write.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Picture.h"
#include "Program.h"

namespace {

/// Eight blocks of 16 x 16 pixels, no two of one colour, told apart by letters; K is the black around a picture.
struct Colour {
    char letter;
    Picture::Pixel pixel;
};
constexpr Colour colours[] = {
    {'R', {255, 0, 0, 255}},     {'G', {0, 255, 0, 255}},   {'B', {0, 0, 255, 255}},
    {'W', {255, 255, 255, 255}}, {'C', {0, 255, 255, 255}}, {'M', {255, 0, 255, 255}},
    {'Y', {255, 255, 0, 255}},   {'O', {128, 64, 0, 255}},  {'K', {0, 0, 0, 255}},
};

Picture blocks() {
    Picture picture(64, 32);
    for (int y = 0; y < 32; ++y) {
        for (int x = 0; x < 64; ++x) picture.at(x, y) = colours[(y / 16) * 4 + x / 16].pixel;
    }
    return picture;
}

char letter(const Picture::Pixel& pixel) {
    for (const Colour& colour : colours) {
        if (colour.pixel == pixel) return colour.letter;
    }
    return '?';
}

/// The letters at the centres of 4 x 4 cells, rows parted by blanks.
std::string cells(const Picture& picture) {
    std::string text;
    for (int row = 0; row < 4; ++row) {
        if (row > 0) text += ' ';
        for (int column = 0; column < 4; ++column)
            text += letter(picture.at((2 * column + 1) * picture.width / 8, (2 * row + 1) * picture.height / 8));
    }
    return text;
}

struct PresentCase {
    const char* name;
    const char* size;
    std::vector<std::string> options;
    const char* expected;
};

class PresentCommand : public testing::TestWithParam<PresentCase> {};

// A mode mistaken for another, a turn the wrong way round, a mirror before the turn, a picture distorted by a turn.
TEST_P(PresentCommand, PlacesThePicture) {
    const Workspace folder;
    std::vector<std::string> arguments{"present", folder.write("in.png", blocks().png()), folder.file("out.png"),
                                       "--size", GetParam().size};
    arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
    const Outcome outcome = runOndrix(arguments);
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output + outcome.errors, "");
    const Picture picture = Picture::read(folder.file("out.png"));
    EXPECT_EQ(std::to_string(picture.width) + "x" + std::to_string(picture.height), GetParam().size);
    EXPECT_EQ(cells(picture), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    , PresentCommand,
    testing::Values(
        PresentCase{"FitIsTheDefault", "64x64", {}, "KKKK RGBW CMYO KKKK"},
        PresentCase{"Fit", "64x64", {"--mode", "fit"}, "KKKK RGBW CMYO KKKK"},
        PresentCase{"Fill", "64x64", {"--mode", "fill"}, "GGBB GGBB MMYY MMYY"},
        PresentCase{"Stretch", "64x64", {"--mode", "stretch"}, "RGBW RGBW CMYO CMYO"},
        PresentCase{"Flip", "64x32", {"--flip"}, "WBGR WBGR OYMC OYMC"},
        PresentCase{"HalfTurn", "64x32", {"--rotate", "180"}, "OYMC OYMC WBGR WBGR"},
        PresentCase{"QuarterTurnFit", "32x64", {"--rotate", "90"}, "CCRR MMGG YYBB OOWW"},
        PresentCase{"QuarterTurnBackFit", "32x64", {"--rotate", "270"}, "WWOO BBYY GGMM RRCC"},
        PresentCase{"QuarterTurnFitLeavesBars", "64x64", {"--rotate", "90"}, "KCRK KMGK KYBK KOWK"},
        PresentCase{"QuarterTurnFill", "64x64", {"--rotate", "90", "--mode", "fill"}, "MMGG MMGG YYBB YYBB"},
        PresentCase{"QuarterTurnStretch", "64x64", {"--rotate", "90", "--mode", "stretch"}, "CCRR MMGG YYBB OOWW"},
        PresentCase{"QuarterTurnThenFlip", "32x64", {"--rotate", "90", "--flip"}, "RRCC GGMM BBYY WWOO"},
        PresentCase{
            "StretchTurnThenFlip", "32x64", {"--rotate", "90", "--flip", "--mode", "stretch"}, "RRCC GGMM BBYY WWOO"}),
    [](const auto& instance) { return std::string(instance.param.name); });

// Channels exchanged, alpha dropped, premultiplied or made up, rows shifted, on the way in or out.
TEST(PresentCommandPixels, UnchangedWhenNothingIsAsked) {
    const Workspace folder;
    for (const bool opaque : {true, false}) {
        const Picture picture = Picture::noise(37, 11, opaque);
        const std::string input = folder.write("in.png", picture.png());
        for (const char* command : {"present", "blit"}) {
            const Outcome outcome = runOndrix({command, input, folder.file("out.png"), "--size", "37x11"});
            ASSERT_EQ(outcome.status, 0) << outcome.errors;
            EXPECT_EQ(Picture::read(folder.file("out.png")).pixels, picture.pixels) << command << opaque;
        }
    }
}

TEST(PresentCommandPixels, ReadsJPEG) {
    const Workspace folder;
    Picture grey(40, 24);
    for (Picture::Pixel& pixel : grey.pixels) pixel = {90, 90, 90, 255};
    const Outcome outcome =
        runOndrix({"present", folder.write("in.jpg", grey.jpeg()), folder.file("out.png"), "--size", "40x24"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(Picture::read(folder.file("out.png")).pixels, grey.pixels);
}

TEST(BlitCommand, RenderStretches) {
    const Workspace folder;
    const std::string input = folder.write("in.png", blocks().png());
    const Outcome outcome = runOndrix({"blit", input, folder.file("out.png"), "--size", "128x16", "--pass", "render"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(cells(Picture::read(folder.file("out.png"))), "RGBW RGBW CMYO CMYO");
}

// A compute blit that scales, or that leaves rubbish where the input has no position.
TEST(BlitCommand, ComputeCopiesPositionForPosition) {
    const Workspace folder;
    const Picture picture = Picture::noise(45, 35, false);
    const Outcome outcome = runOndrix({"blit", folder.write("in.png", picture.png()), folder.file("out.png"), "--size",
                                       "70x33", "--pass", "compute"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    Picture expected(70, 33);
    for (int y = 0; y < 33; ++y) {
        for (int x = 0; x < 45; ++x) expected.at(x, y) = picture.at(x, y);
    }
    EXPECT_EQ(Picture::read(folder.file("out.png")).pixels, expected.pixels);
}

}  // namespace
