#pragma once

#include <cstdint>
#include <cstdio>  // needed by jpeglib.h
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <jpeglib.h>
#include <png.h>

#include <ondrix/platform/metalkit/MTKTextureLoader.h>

namespace ondrix::test {

/// The content of a PNG file: one number a sample, in the file's own depth.
struct PNGContent {
    std::uint32_t width = 1, height = 1;
    int colorType = PNG_COLOR_TYPE_GRAY;
    int depth = 8;
    bool interlaced = false;
    std::vector<std::uint16_t> samples{};
    std::vector<png_color> palette{};
    std::vector<std::uint8_t> paletteAlpha{};
    std::optional<png_color_16> transparent{};

    [[nodiscard]] std::uint32_t channels() const;
};

/// With `headerOnly`, the file ends before the pixels.
std::string encode(const PNGContent& content, bool headerOnly = false);

/// The content of a JPEG file in 8-bit samples of `colorSpace`.
struct JPEGContent {
    std::uint32_t width = 1, height = 1;
    J_COLOR_SPACE colorSpace = JCS_GRAYSCALE;
    J_COLOR_SPACE storedAs = JCS_GRAYSCALE;
    std::vector<std::uint8_t> samples{};
    bool progressive = false;
    int chromaStep = 1;  ///< pixels a chroma sample, in both directions
};

std::string encode(const JPEGContent& content);

/// What a loader makes of a file.
struct LoadedPicture {
    std::shared_ptr<MTLTexture> texture;
    std::vector<std::uint8_t> bytes;  ///< the texture's, in rows without gaps
    std::string reason;

    explicit LoadedPicture(const URL& file, bool sRGB = false,
                           const std::shared_ptr<MTLDevice>& device = MTLCreateSystemDefaultDevice());
    /// Of a file with the bytes `content`. Expects the same of the bytes in memory.
    static LoadedPicture of(const std::string& content);

private:
    LoadedPicture() = default;
    void take(std::shared_ptr<MTLTexture> loaded, const NSError& error);
};

}  // namespace ondrix::test
