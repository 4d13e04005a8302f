#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// A picture in memory for tests: red, green, blue and alpha of each pixel, row by row.
struct Picture {
    using Pixel = std::array<std::uint8_t, 4>;

    int width = 0;
    int height = 0;
    std::vector<Pixel> pixels;

    Picture(int pictureWidth, int pictureHeight)
        : width(pictureWidth), height(pictureHeight), pixels(static_cast<std::size_t>(width) * height) {}

    [[nodiscard]] Pixel& at(int x, int y) { return pixels[static_cast<std::size_t>(y) * width + x]; }
    [[nodiscard]] const Pixel& at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }

    /// Pixels that all differ from their neighbours, of many alpha values or all opaque.
    static Picture noise(int width, int height, bool opaque);

    [[nodiscard]] std::string png() const;   ///< the bytes of an RGBA file
    [[nodiscard]] std::string jpeg() const;  ///< the bytes of a JPEG file

    /// Decodes a PNG file; an empty picture when that can't be done.
    static Picture read(const std::string& path);
};
