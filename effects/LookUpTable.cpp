#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include <ondrix/effects/LookUpTable.h>

namespace ondrix::effects {

namespace {

constexpr int smallestSize = 2, largestSize = 129;
constexpr int longestLine = 4096;  // bytes; bounds the memory that a file which isn't text can take
constexpr std::uintmax_t largestFile = std::uintmax_t{256} << 20;  // bytes; 129³ colours have 60 at the most
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// Removes the first word and returns it; empty at the end. A carriage return counts as a space.
std::string_view takeWord(std::string_view& text) {
    constexpr std::string_view spaces = " \t\r";
    text.remove_prefix(std::min(text.find_first_not_of(spaces), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(spaces));
    text.remove_prefix(word.size());
    return word;
}

/// A decimal number, whatever the locale is; absent for anything else, infinity and NaN among it.
std::optional<float> toNumber(std::string_view word) {
    if (word.starts_with('+')) word.remove_prefix(1);
    double number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
    if (!(std::abs(number) <= std::numeric_limits<float>::max())) return std::nullopt;
    return static_cast<float>(number);
}

class CubeParser {
public:
    explicit CubeParser(std::istream& text) : text_(text) {}

    /// False, with the reason, at the first thing that is wrong.
    bool parse() {
        for (char line[longestLine + 1]; text_.getline(line, sizeof line);) {
            ++lineNumber_;
            std::string_view rest(line, static_cast<std::size_t>(text_.gcount() - (text_.eof() ? 0 : 1)));
            if (lineNumber_ == 1 && rest.starts_with(byteOrderMark)) rest.remove_prefix(byteOrderMark.size());
            const std::string_view keyword = takeWord(rest);
            if (keyword.empty() || keyword.starts_with('#')) continue;
            if (!parseLine(keyword, rest)) return false;
        }
        if (!text_.eof()) {
            ++lineNumber_;
            return fail(text_.bad() ? "can't be read" : "more than " + std::to_string(longestLine) + " characters");
        }
        if (table_.size == 0) return fail("no LUT_3D_SIZE");
        if (table_.colours.size() < numbers()) {
            return fail("only " + std::to_string(table_.colours.size() / 3) + " of " + std::to_string(numbers() / 3) +
                        " colours");
        }
        for (int i = 0; i < 3; ++i) {
            if (table_.minimum[i] < table_.maximum[i]) continue;
            lineNumber_ = domainLine_;
            return fail("DOMAIN_MIN is not below DOMAIN_MAX");
        }
        return true;
    }

    LookUpTable& table() { return table_; }
    const std::string& reason() const { return reason_; }

private:
    bool parseLine(std::string_view keyword, std::string_view rest) {
        if (keyword == "TITLE") return true;
        if (keyword == "DOMAIN_MIN") return parseDomain(rest, table_.minimum);
        if (keyword == "DOMAIN_MAX") return parseDomain(rest, table_.maximum);
        if (keyword == "LUT_3D_SIZE") return parseSize(rest);
        if (keyword == "LUT_3D_INPUT_RANGE") return parseRange(rest);
        if (keyword == "LUT_1D_SIZE") return fail("a one-dimensional table; only three-dimensional ones are read");
        constexpr std::string_view ofKeywords = "ABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789";
        if (ofKeywords.find(keyword.front()) < 26 && keyword.find_first_not_of(ofKeywords) == std::string_view::npos) {
            return fail("unknown keyword '" + std::string(keyword.substr(0, 40)) + "'");
        }
        return parseColour(keyword, rest);
    }

    bool parseSize(std::string_view rest) {
        if (table_.size != 0) return fail("a second LUT_3D_SIZE");
        const std::string_view word = takeWord(rest);
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), table_.size);
        const bool isWhole = error == std::errc() && end == word.data() + word.size() && takeWord(rest).empty();
        if (!isWhole || table_.size < smallestSize || table_.size > largestSize) {
            return fail("LUT_3D_SIZE is not a whole number from " + std::to_string(smallestSize) + " to " +
                        std::to_string(largestSize));
        }
        table_.colours.reserve(numbers());
        return true;
    }

    /// One range for all three axes.
    bool parseRange(std::string_view rest) {
        domainLine_ = lineNumber_;
        const auto low = toNumber(takeWord(rest)), high = toNumber(takeWord(rest));
        if (!low || !high || !takeWord(rest).empty()) return fail("not two numbers");
        std::fill_n(table_.minimum, 3, *low);
        std::fill_n(table_.maximum, 3, *high);
        return true;
    }

    bool parseColour(std::string_view first, std::string_view rest) {
        if (table_.size == 0) return fail("a colour before LUT_3D_SIZE");
        if (table_.colours.size() == numbers()) return fail("more than " + std::to_string(numbers() / 3) + " colours");
        const auto red = toNumber(first);
        float others[2];
        if (!red || !parseNumbers(rest, others, 2)) return fail("not three numbers");
        table_.colours.insert(table_.colours.end(), {*red, others[0], others[1]});
        return true;
    }

    bool parseDomain(std::string_view rest, float (&end)[3]) {
        domainLine_ = lineNumber_;
        return parseNumbers(rest, end, 3) || fail("not three numbers");
    }

    /// Exactly `count` numbers up to the end of the line.
    static bool parseNumbers(std::string_view rest, float* into, int count) {
        for (int i = 0; i < count; ++i) {
            const auto number = toNumber(takeWord(rest));
            if (!number) return false;
            into[i] = *number;
        }
        return takeWord(rest).empty();
    }

    std::size_t numbers() const {
        const auto size = static_cast<std::size_t>(table_.size);
        return 3 * size * size * size;
    }

    bool fail(const std::string& why) {
        reason_ = lineNumber_ > 0 ? "line " + std::to_string(lineNumber_) + ": " + why : why;
        return false;
    }

    std::istream& text_;
    LookUpTable table_;
    std::string reason_;
    int lineNumber_ = 0;
    int domainLine_ = 0;
};

}  // namespace

std::shared_ptr<const LookUpTable> LookUpTable::read(const std::filesystem::path& file, std::string& reason) {
    std::error_code ignored;
    const auto status = std::filesystem::status(file, ignored);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
        !std::filesystem::is_directory(status)) {
        reason = "it is not a regular file; copy it to a file first";  // a pipe could keep its reader for ever
        return nullptr;
    }
    if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(file, ignored) > largestFile) {
        reason = "the file is larger than " + std::to_string(largestFile) + " bytes";
        return nullptr;
    }
    std::ifstream text(file, std::ios::binary);
    if (!text || std::filesystem::is_directory(status)) {
        reason = "the file can't be opened";
        return nullptr;
    }
    try {
        CubeParser parser(text);
        if (parser.parse()) return std::make_shared<LookUpTable>(std::move(parser.table()));
        reason = parser.reason();
    } catch (const std::bad_alloc&) {
        reason = "there is not enough memory";
    }
    return nullptr;
}

}  // namespace ondrix::effects
