#include "CommandLine.h"

#include <charconv>
#include <iostream>
#include <optional>

#include <stdlib.h>

#include "tools/sources/SourceLibrary.h"
#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

constexpr std::int64_t largestSide = 16384;

const std::map<std::string, ContentMode> modes{{"fit", ContentMode::scaleAspectFit},
                                               {"fill", ContentMode::scaleAspectFill},
                                               {"stretch", ContentMode::scaleToFill}};
const std::map<std::string, ImageRotation> rotations{{"0", ImageRotation::degrees0},
                                                     {"90", ImageRotation::degrees90},
                                                     {"180", ImageRotation::degrees180},
                                                     {"270", ImageRotation::degrees270}};
const std::map<std::string, ResizeFilter> filters{{"nearest", ResizeFilter::nearest},
                                                  {"linear", ResizeFilter::linear},
                                                  {"area", ResizeFilter::area},
                                                  {"lanczos", ResizeFilter::lanczos}};

/// The number that the whole of `text` spells in digits, when it is a side in range.
std::optional<std::int64_t> parseSide(std::string_view text) {
    std::int64_t side = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, side);
    if (error != std::errc{} || stop != end || side < 1 || side > largestSide) return std::nullopt;
    return side;
}

PictureSize parseSize(std::string_view text) {
    const std::size_t cross = text.find('x');
    const auto width = parseSide(text.substr(0, cross));
    const auto height = cross == std::string_view::npos ? std::nullopt : parseSide(text.substr(cross + 1));
    if (!width || !height)
        throw CLI::ValidationError("--size", "'" + std::string(text) + "' is not WIDTHxHEIGHT from 1x1 to 16384x16384");
    return {*width, *height};
}

}  // namespace

CLI::Option* addSizeOption(CLI::App& command, PictureSize& size, const std::string& description) {
    return command
        .add_option_function<std::string>(
            "--size", [&size](const std::string& text) { size = parseSize(text); },
            description + ", 1x1 to 16384x16384")
        ->type_name("WIDTHxHEIGHT");
}

void addPresentationOptions(CLI::App& command, PresentationOptions& options) {
    command
        .add_option_function<std::string>("--mode", storeIn(options.mode, modes),
                                          "fit: whole, with bars; fill: cut at the sides; stretch: distorted (fit)")
        ->check(CLI::IsMember(modes));
    command
        .add_option_function<std::string>("--rotate", storeIn(options.rotation, rotations),
                                          "Degrees to turn clockwise (0)")
        ->check(CLI::IsMember(rotations));
    command.add_flag("--flip", options.flip, "Mirror left to right, after the turn");
    addFilterOption(command, options);
}

void addFilterOption(CLI::App& command, PresentationOptions& options) {
    command
        .add_option_function<std::string>("--filter", storeIn(options.filter, filters),
                                          "How the size is changed (area to shrink, linear to enlarge)")
        ->check(CLI::IsMember(filters));
}

void addPlaylistOption(CLI::App& command, bool& allowsPlaylists) {
    command.add_flag("--allow-playlists", allowsPlaylists,
                     "Also read playlists (HLS, DASH, ffconcat, SDP), which name other files and network addresses");
}

CLI::Option* addLibraryOptions(CLI::App& command, LibraryOptions& options) {
    CLI::Option* const library =
        command
            .add_option("--library", options.library,
                        "Shader library, a folder NAME.oxlib, or its source: a .cpp file or a folder of such files, "
                        "built at once by the C++ compiler (CXX, else g++)")
            ->type_name("SRC");
    command
        .add_option("--function", options.function,
                    "Compute function of it, from texture 0 to texture 1; may be left out where it is the only one")
        ->type_name("NAME")
        ->needs(library);
    command
        .add_flag_callback(
            "--trust-library", [] { setenv("ONDRIX_TRUST_LIBRARIES", "1", 1); },
            "Open the library even where other users may change it, who then run what they like as you")
        ->needs(library);
    return library;
}

void addWatchOption(CLI::App& command, LibraryOptions& options, CLI::Option* library) {
    command
        .add_flag("--watch", options.watch,
                  "Build the source again whenever a file beside it is saved, until Ctrl-C (status 0). What was last "
                  "built stays in use when it doesn't compile")
        ->needs(library);
}

void checkWatchOption(const LibraryOptions& options) {
    if (options.watch && !SourceLibrary::isSource(options.library))
        throw CLI::ValidationError("--watch", "'" + options.library +
                                                  "' is not the source of a library, which is a .cpp file or a folder "
                                                  "of such files");
}

std::string jsonText(std::string_view text) {
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') result += '\\';
        if (static_cast<unsigned char>(character) >= 0x20) result += character;
    }
    return result + '"';
}

void finishOutput() {
    if (!std::cout.flush()) throw Failure("standard output", "can't be written");
}

}  // namespace ondrix::tools
