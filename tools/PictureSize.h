#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

namespace ondrix::tools {

/// Sides of a picture in pixels, 1 to 16384 each; 0x0 where the user gave none.
struct PictureSize {
    std::int64_t width = 0;
    std::int64_t height = 0;

    friend bool operator==(const PictureSize&, const PictureSize&) = default;
};

/// Adds the option --size to `command`. `size` must live until the command line is parsed. Any text but WIDTHxHEIGHT
/// in range is a usage error that names the range.
CLI::Option* addSizeOption(CLI::App& command, PictureSize& size, const std::string& description);

/// "640x480"
std::string description(PictureSize size);

}  // namespace ondrix::tools
