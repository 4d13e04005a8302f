#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/metal/MTLPixelFormat.h>
#include <ondrix/types/Int.h>

namespace ondrix {

class Texture;

/// A picture in main memory, top row first, rows without gaps; components as `pixelFormatInfo` tells.
struct Pixels {
    MTLPixelFormat pixelFormat;
    Int width;        ///< pixels
    Int height;       ///< pixels
    Int bytesPerRow;  ///< the width times the bytes of a pixel
    std::vector<std::byte> bytes;
};

/// The pixels of a texture in its own format, as they are stored: those of an sRGB format are not decoded. Waits for
/// all work that was committed to the device before, and copies. Absent, with the reason in `error` (may be null),
/// without a GPU texture or memory. From any thread, while no other resizes the texture.
[[nodiscard]] std::optional<Pixels> readPixels(const Texture& texture, NSError* error);

/// Replaces all pixels of a texture by `bytes`, which are in its own format, top row first, rows `bytesPerRow` apart.
/// Waits for all work that was committed before, so that none of it sees the new pixels; the bytes are copied. False,
/// with the reason in `error` (may be null), without a GPU texture and for rows shorter than the texture's; the pixels
/// then stay. From any thread, while no other resizes the texture.
bool writePixels(Texture& texture, const void* bytes, Int bytesPerRow, NSError* error);

}  // namespace ondrix
