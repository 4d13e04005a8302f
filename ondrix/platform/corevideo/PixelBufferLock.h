#pragma once

#include <cassert>
#include <cstdint>
#include <memory>
#include <utility>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>

namespace ondrix {

/// Keeps the base addresses of a pixel buffer locked while it lives, so that its pixels can be read and written:
///
///     const PixelBufferLock lock(pixelBuffer, kCVPixelBufferLock_ReadOnly);
///     const std::uint8_t blue = lock.row(y)[4 * x];
///
/// Plane 0 of a buffer that isn't planar is its pixels. Neither copied nor moved; one thread at a time.
class PixelBufferLock {
public:
    /// Holds the pixel buffer, which must not be null. `flags` are those of `CVPixelBufferLockBaseAddress`: 0 for
    /// reading and writing, or `kCVPixelBufferLock_ReadOnly`.
    explicit PixelBufferLock(std::shared_ptr<CVPixelBuffer> pixelBuffer, CVPixelBufferLockFlags flags = 0)
        : holder_(std::move(pixelBuffer)), pixelBuffer_(*holder_), flags_(flags) {
        lock();
    }
    /// The same for a pixel buffer that somebody else holds for as long.
    explicit PixelBufferLock(CVPixelBuffer& pixelBuffer, CVPixelBufferLockFlags flags = 0)
        : pixelBuffer_(pixelBuffer), flags_(flags) {
        lock();
    }
    ~PixelBufferLock() { CVPixelBufferUnlockBaseAddress(pixelBuffer_, flags_); }
    PixelBufferLock(const PixelBufferLock&) = delete;
    PixelBufferLock& operator=(const PixelBufferLock&) = delete;

    /// First element of the plane's first row; null for a plane that doesn't exist.
    [[nodiscard]] std::uint8_t* bytes(std::int64_t plane = 0) const {
        return static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(pixelBuffer_, plane));
    }
    /// First element of row `y`, 0 to height(plane) - 1.
    [[nodiscard]] std::uint8_t* row(std::int64_t y, std::int64_t plane = 0) const {
        return bytes(plane) + y * bytesPerRow(plane);
    }
    /// From the start of a row to that of the next; 0, as the sides, for a plane that doesn't exist.
    [[nodiscard]] std::int64_t bytesPerRow(std::int64_t plane = 0) const {
        return CVPixelBufferGetBytesPerRowOfPlane(pixelBuffer_, plane);
    }
    /// Elements of a row.
    [[nodiscard]] std::int64_t width(std::int64_t plane = 0) const {
        return CVPixelBufferGetWidthOfPlane(pixelBuffer_, plane);
    }
    /// Rows.
    [[nodiscard]] std::int64_t height(std::int64_t plane = 0) const {
        return CVPixelBufferGetHeightOfPlane(pixelBuffer_, plane);
    }

private:
    void lock() {
        [[maybe_unused]] const CVReturn status = CVPixelBufferLockBaseAddress(pixelBuffer_, flags_);
        assert(status == kCVReturnSuccess);
    }

    const std::shared_ptr<CVPixelBuffer> holder_;  ///< null where somebody else holds the pixel buffer
    CVPixelBuffer& pixelBuffer_;
    const CVPixelBufferLockFlags flags_;
};

}  // namespace ondrix
