#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <ondrix/platform/foundation/URL.h>
#include <ondrix/platform/image/Stream.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>

namespace ondrix::image {

/// A picture file while it is decoded, row by row from the top, to BGRA8 with straight alpha. Colour profiles, gamma
/// and orientation marks have no effect on the pixels. Used by one thread.
///
/// A function that fails returns null or false and sets `reason` to one line without a full stop. What was decoded
/// before a failure must not be used.
class Picture {
public:
    /// Sides above this are refused.
    static constexpr std::uint64_t maximumSide = 16384;
    /// Opens a regular file and reads the picture's header. The file's first bytes tell the kind, not its name. Throws
    /// std::bad_alloc.
    static std::unique_ptr<Picture> open(const URL& file, const MTKTextureLoaderLimits& limits, std::string& reason);
    /// The same for a file of `length` bytes in memory, which must stay as long as the picture.
    static std::unique_ptr<Picture> open(const void* bytes, std::uint64_t length, const MTKTextureLoaderLimits& limits,
                                         std::string& reason);

    /// False when a side is 0 or too large.
    static bool checkSize(std::uint64_t width, std::uint64_t height, std::string& reason);

    virtual ~Picture() = default;
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    [[nodiscard]] std::uint64_t width() const noexcept { return width_; }    ///< pixels
    [[nodiscard]] std::uint64_t height() const noexcept { return height_; }  ///< pixels

    /// Decodes the next `count` rows to `rows`, 4 * width() bytes each. With the last row, the rest of the file is
    /// checked. Throws std::bad_alloc.
    virtual bool readRows(std::uint8_t* rows, std::uint64_t count, std::string& reason) = 0;

protected:
    explicit Picture(const MTKTextureLoaderLimits& limits) : limits_(limits) {}

    /// False when the picture, with `bytes` that decoding takes beside its pixels, goes beyond the limits.
    bool checkLimits(std::uint64_t bytes, std::string& reason) const;
    /// As `checkSize`, and keeps the size.
    bool setSize(std::uint64_t width, std::uint64_t height, std::string& reason);

private:
    static std::unique_ptr<Picture> open(Stream stream, std::uint64_t length, const MTKTextureLoaderLimits& limits,
                                         std::string& reason);

    const MTKTextureLoaderLimits limits_;
    std::uint64_t width_ = 0;
    std::uint64_t height_ = 0;
};

}  // namespace ondrix::image
