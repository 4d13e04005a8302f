#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ondrix::benchmarks {

/// A picture or plane in main memory: rows of whole 64-byte lines, 64-byte aligned, with a line to spare at the end.
/// Pixels of four bytes are blue, green, red, alpha. Movable only.
class Frame {
public:
    /// All bytes are zero. Sides in pixels, at least 1.
    Frame(int width, int height, int bytesPerPixel);
    /// Smooth waves and random bytes in equal parts, in every component; the same for the same seed.
    static Frame noisy(int width, int height, int bytesPerPixel, std::uint32_t seed);

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] int bytesPerPixel() const { return bytesPerPixel_; }
    [[nodiscard]] int bytesPerRow() const { return bytesPerRow_; }
    [[nodiscard]] std::uint8_t* row(int y) { return bytes_.get() + offset(y); }
    [[nodiscard]] const std::uint8_t* row(int y) const { return bytes_.get() + offset(y); }
    void fill(std::uint8_t value);

private:
    struct Free {
        void operator()(std::uint8_t* bytes) const;
    };

    [[nodiscard]] std::ptrdiff_t offset(int y) const { return std::ptrdiff_t{bytesPerRow_} * y; }

    int width_;
    int height_;
    int bytesPerPixel_;
    int bytesPerRow_;
    std::unique_ptr<std::uint8_t[], Free> bytes_;
};

/// Where a picture is drawn in an output of the same width: rows `top` to `top + height`, which may be fractional. A
/// row of pixels belongs to it when its centre does; the rest are bars.
struct Placement {
    double top;
    double height;

    [[nodiscard]] int firstRow() const;
    [[nodiscard]] int endRow() const;
};

}  // namespace ondrix::benchmarks
