#include "PictureSize.h"

#include <charconv>
#include <optional>
#include <string_view>

namespace ondrix::tools {
namespace {

constexpr std::int64_t largestSide = 16384;

/// The number that the whole of `text` spells in digits, when it is a side in range.
std::optional<std::int64_t> parseSide(std::string_view text) {
    std::int64_t side = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, side);
    if (error != std::errc{} || stop != end || side < 1 || side > largestSide) return std::nullopt;
    return side;
}

std::optional<PictureSize> parseSize(std::string_view text) {
    const std::size_t cross = text.find('x');
    if (cross == std::string_view::npos) return std::nullopt;
    const auto width = parseSide(text.substr(0, cross));
    const auto height = parseSide(text.substr(cross + 1));
    if (!width || !height) return std::nullopt;
    return PictureSize{*width, *height};
}

}  // namespace

CLI::Option* addSizeOption(CLI::App& command, PictureSize& size, const std::string& description) {
    const auto store = [&size](const std::string& text) {
        const auto parsed = parseSize(text);
        if (!parsed) throw CLI::ValidationError("--size", "'" + text + "' is not WIDTHxHEIGHT from 1x1 to 16384x16384");
        size = *parsed;
    };
    return command.add_option_function<std::string>("--size", store, description + ", 1x1 to 16384x16384")
        ->type_name("WIDTHxHEIGHT");
}

std::string description(PictureSize size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

}  // namespace ondrix::tools
