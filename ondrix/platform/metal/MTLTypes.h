#pragma once

#include <cstdint>

namespace ondrix {

/// Counts of threads, thread groups or pixels. The depth of everything two-dimensional is 1.
struct MTLSize {
    std::uint64_t width = 0, height = 0, depth = 0;
    friend bool operator==(const MTLSize&, const MTLSize&) = default;
};

/// Position of a pixel, from the top-left corner: x to the right, y downwards, z always 0.
struct MTLOrigin {
    std::uint64_t x = 0, y = 0, z = 0;
    friend bool operator==(const MTLOrigin&, const MTLOrigin&) = default;
};

/// A box of pixels.
struct MTLRegion {
    MTLOrigin origin;
    MTLSize size;
};

constexpr MTLRegion MTLRegionMake2D(std::uint64_t x, std::uint64_t y, std::uint64_t width, std::uint64_t height) {
    return {{x, y, 0}, {width, height, 1}};
}

/// Colour with straight components, opaque black unless set. Formats of 8 bits hold each of them to 0...1; an sRGB
/// format encodes red, green and blue. Formats of floats take any number.
struct MTLClearColor {
    double red = 0, green = 0, blue = 0, alpha = 1;
};

/// 0 is shared storage with the default CPU cache mode, the only kind there is.
using MTLResourceOptions = std::uint64_t;

enum class MTLPrimitiveType : std::uint64_t { point = 0, line = 1, lineStrip = 2, triangle = 3, triangleStrip = 4 };
enum class MTLIndexType : std::uint64_t { uint16 = 0, uint32 = 1 };
enum class MTLLoadAction : std::uint64_t { dontCare = 0, load = 1, clear = 2 };
enum class MTLStoreAction : std::uint64_t { dontCare = 0, store = 1 };

}  // namespace ondrix
