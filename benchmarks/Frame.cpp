#include "Frame.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <vector>

namespace ondrix::benchmarks {

namespace {

constexpr int lineSize = 64;

/// A wave of 0 to 63 for each position along one side.
std::vector<int> wave(int count, double period, double phase) {
    std::vector<int> values(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        values[static_cast<std::size_t>(i)] = static_cast<int>(32 + 31.5 * std::sin(i / period + phase));
    }
    return values;
}

}  // namespace

void Frame::Free::operator()(std::uint8_t* bytes) const {
    std::free(bytes);
}

Frame::Frame(int width, int height, int bytesPerPixel)
    : width_(width),
      height_(height),
      bytesPerPixel_(bytesPerPixel),
      bytesPerRow_((width * bytesPerPixel + lineSize - 1) / lineSize * lineSize) {
    const auto size = static_cast<std::size_t>(offset(height) + lineSize);
    bytes_.reset(static_cast<std::uint8_t*>(std::aligned_alloc(lineSize, size)));
    if (!bytes_) throw std::bad_alloc();
    fill(0);
}

Frame Frame::noisy(int width, int height, int bytesPerPixel, std::uint32_t seed) {
    Frame frame(width, height, bytesPerPixel);
    std::mt19937 random(seed);
    const auto across = wave(width * bytesPerPixel, 90.0, seed);
    const auto down = wave(height, 70.0, 1.0);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* bytes = frame.row(y);
        for (int x = 0; x < width * bytesPerPixel; ++x) {
            const int smooth = across[static_cast<std::size_t>(x)] + down[static_cast<std::size_t>(y)];
            bytes[x] = static_cast<std::uint8_t>(smooth + static_cast<int>(random() >> 25));
        }
    }
    return frame;
}

void Frame::fill(std::uint8_t value) {
    std::memset(bytes_.get(), value, static_cast<std::size_t>(offset(height_)));
}

int Placement::firstRow() const {
    return static_cast<int>(std::ceil(top - 0.5));
}

int Placement::endRow() const {
    return static_cast<int>(std::ceil(top + height - 0.5));
}

}  // namespace ondrix::benchmarks
