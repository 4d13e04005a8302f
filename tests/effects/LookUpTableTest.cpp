#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/effects/LookUpTable.h>

namespace ondrix::effects {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string repeated(const std::string& line, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += line;
    return text;
}

class LookUpTableTest : public testing::Test {
protected:
    std::shared_ptr<const LookUpTable> read(const std::string& content) {
        return LookUpTable::read(folder.write("table.cube", content), reason);
    }

    test::TemporaryFolder folder;
    std::string reason;
};

TEST_F(LookUpTableTest, ReadsWhatProgramsWrite) {
    const auto table = read(
        "\xEF\xBB\xBF# by hand\r\n\r\nTITLE \"two 2\"\r\nDOMAIN_MIN -1 0 +0.5\r\nLUT_3D_SIZE 2\r\n" +
        std::string("  \t\r\nDOMAIN_MAX 1 2 1e0\r\n") + repeated("0 .25 -1.5e-1\r\n", 7) + "1\t1e-60  3\r\n#end\n\n");
    ASSERT_NE(table, nullptr) << reason;
    EXPECT_EQ(table->size, 2);
    EXPECT_THAT(table->minimum, ElementsAre(-1, 0, 0.5f));
    EXPECT_THAT(table->maximum, ElementsAre(1, 2, 1));
    ASSERT_EQ(table->colours.size(), 24u);
    EXPECT_THAT(std::vector(table->colours.end() - 6, table->colours.end()), ElementsAre(0, 0.25f, -0.15f, 1, 0, 3));
    EXPECT_NE(read("LUT_3D_SIZE 129\n" + repeated("0 0 0\n", 129 * 129 * 129)), nullptr) << reason;
}

TEST_F(LookUpTableTest, RefusesWithTheLineAndTheReason) {
    const std::string two = "LUT_3D_SIZE 2\n", row = "0 0 0\n";
    const std::tuple<std::string, int, std::string> files[] = {
        {"", 0, "no LUT_3D_SIZE"},
        {"LUT_1D_SIZE 16\n", 1, "one-dimensional"},
        {"LUT_3D_SIZE 1\n", 1, "from 2 to 129"},
        {"\nLUT_3D_SIZE 130\n", 2, "from 2 to 129"},
        {two + two, 2, "second"},
        {row + two, 1, "before"},
        {two + repeated(row, 7), 8, "only 7 of 8"},
        {two + repeated(row, 8) + "\n" + row, 11, "more than 8"},
        {two + "0 nan 0\n", 2, "not three numbers"},
        {"DOMAIN_MAX 1 0 1\n" + two + repeated(row, 8), 1, "below"},
        {"\nSHAPE_OF_WATER 1\n", 2, "'SHAPE_OF_WATER'"},
        {std::string(1 << 20, 'x'), 1, "more than 4096 characters"},
    };
    for (const auto& [content, line, why] : files) {
        EXPECT_EQ(read(content), nullptr) << content;
        EXPECT_THAT(reason, HasSubstr(why)) << content.substr(0, 100);
        EXPECT_THAT(reason, testing::StartsWith(line > 0 ? "line " + std::to_string(line) + ": " : ""));
    }
    EXPECT_EQ(LookUpTable::read(folder.path() / "none.cube", reason), nullptr);
    EXPECT_EQ(LookUpTable::read(folder.path(), reason), nullptr);
    EXPECT_THAT(reason, HasSubstr("opened"));
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(LookUpTable::read(folder.path() / "pipe", reason), nullptr);  // doesn't wait for a writer
}

}  // namespace
}  // namespace ondrix::effects
