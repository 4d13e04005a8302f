#pragma once

#include <cstdint>
#include <filesystem>

#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/metal/MTLPixelFormat.h>

namespace ondrix {

/// Writes picture files. `MTKTextureLoader` reads them.
class PictureFile {
public:
    /// Writes pixels in memory as a PNG file of 8 bits a channel, without an alpha channel where every pixel is opaque,
    /// whatever the ending of its name. The pixels are rgba8Unorm or bgra8Unorm, also `_srgb`: four bytes each, with
    /// straight alpha, first row at the top. They are taken for sRGB-encoded. Sides are 1 to 16384 pixels, and
    /// `bytesPerRow`, from row to row, is at least 4 * width.
    ///
    /// The file appears under its name when it is complete and on the disk; one that was there before is replaced, and
    /// keeps its permissions. A name that belongs to something else than a plain file is refused. False on failure,
    /// with the reason in `error` (may be null); then nothing has changed. Safe to call from any thread.
    static bool write(const std::filesystem::path& file, std::int64_t width, std::int64_t height,
                      MTLPixelFormat pixelFormat, const void* pixels, std::int64_t bytesPerRow, NSError* error);
};

}  // namespace ondrix
