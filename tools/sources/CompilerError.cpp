#include "CompilerError.h"

#include <charconv>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

struct Place {
    std::string file;
    int line = 0;
    int column = 0;  ///< 0 where it isn't known
};

/// Takes ":NUMBER" from the end of `text`; 0 without one.
int takeNumber(std::string_view& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) return 0;
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, number);
    if (error != std::errc{} || stop != end) return 0;
    text = text.substr(0, colon);
    return number;
}

/// "FILE:LINE:COLUMN" or "FILE:LINE".
std::optional<Place> parsePlace(std::string_view text) {
    const int last = takeNumber(text);
    const int first = takeNumber(text);
    if (last == 0) return std::nullopt;
    return first != 0 ? Place{std::string(text), first, last} : Place{std::string(text), last, 0};
}

/// A line of a compiler's output, cut at the first of the marks that such lines have.
struct Line {
    std::string_view place, text;
    bool isError = false;
};

Line parseLine(std::string_view line) {
    struct Mark {
        std::string_view text;
        bool isError;
    };
    for (const Mark& mark :
         {Mark{": fatal error: ", true}, {": error: ", true}, {":   required from ", false}, {": note: ", false}}) {
        const std::size_t at = line.find(mark.text);
        if (at != std::string_view::npos) return {line.substr(0, at), line.substr(at + mark.text.size()), mark.isError};
    }
    return {};
}

/// The line of the file, and below it a mark at the place's column.
std::string excerptOf(const Place& place) {
    std::ifstream file(place.file);
    std::string line;
    for (int number = 0; number < place.line; ++number) {
        if (!std::getline(file, line)) return {};
    }
    char margin[32];
    std::snprintf(margin, sizeof margin, "%6d | ", place.line);
    std::string mark;
    for (int column = 1; column < place.column && static_cast<std::size_t>(column) <= line.size(); ++column)
        mark += line[static_cast<std::size_t>(column) - 1] == '\t' ? "    " : " ";
    std::string shown;
    for (const char character : line) shown += character == '\t' ? "    " : std::string(1, character);
    std::string excerpt = margin + withoutControls(shown) + '\n';
    if (place.column > 0) excerpt += "       | " + mark + "^\n";
    return excerpt;
}

}  // namespace

void CompilerError::show() const {
    complain(place + ": " + message);
    const bool isMarked = excerpt.ends_with("^\n");
    if (isMarked && usesColours())
        std::fprintf(stderr, "%.*s\033[1;31m^\033[m\n", static_cast<int>(excerpt.size() - 2), excerpt.c_str());
    else
        std::fputs(excerpt.c_str(), stderr);
}

CompilerError CompilerError::parse(const std::string& output, const std::filesystem::path& folder,
                                   const std::string& otherwise) {
    std::vector<std::string> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);

    const auto ownPlace = [&](std::size_t index) -> std::optional<Place> {
        auto named = parsePlace(parseLine(lines[index]).place);
        if (named && std::filesystem::path(named->file).parent_path() != folder) named.reset();
        return named;
    };
    std::size_t first = 0;
    while (first < lines.size() && !parseLine(lines[first]).isError) ++first;
    if (first == lines.size())
        return {otherwise, lines.empty() ? "the compiler failed without a message" : lines.back(), ""};
    const Line error = parseLine(lines[first]);
    CompilerError result{otherwise, std::string(error.text), ""};
    if (const auto named = parsePlace(error.place)) result.place = named->file + ":" + std::to_string(named->line);

    // g++ tells above an error how it got there, and clang below it.
    std::optional<Place> own = ownPlace(first);
    for (std::size_t index = first; !own && index-- > 0;) own = ownPlace(index);
    for (std::size_t index = first + 1; !own && index < lines.size() && !parseLine(lines[index]).isError; ++index)
        own = ownPlace(index);
    if (own) {
        result.place = own->file + ":" + std::to_string(own->line);
        result.excerpt = excerptOf(*own);
    }
    return result;
}

}  // namespace ondrix::tools
