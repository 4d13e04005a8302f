#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <ondrix/platform/corevideo/CVAttributes.h>
#include <ondrix/platform/corevideo/CVReturn.h>
#include <ondrix/platform/corevideo/IOSurface.h>

namespace ondrix {

/// A FourCC as a number, first character in the highest byte.
using OSType = std::uint32_t;

inline constexpr OSType kCVPixelFormatType_32BGRA = 0x42475241;                        ///< 'BGRA', one plane
inline constexpr OSType kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange = 0x34323076;  ///< '420v', luma and CbCr planes
inline constexpr OSType kCVPixelFormatType_420YpCbCr8BiPlanarFullRange = 0x34323066;   ///< '420f', luma and CbCr planes

/// Flags of `CVPixelBufferLockBaseAddress`.
using CVPixelBufferLockFlags = std::uint64_t;
inline constexpr CVPixelBufferLockFlags kCVPixelBufferLock_ReadOnly = 1;

/// One frame of pixels in main memory, shared by reference. Chroma planes have half the sides, rounded up. Nothing
/// orders access from several threads.
class CVPixelBuffer;

/// Makes a buffer of undefined content, whose planes start at multiples of 64 bytes. `attributes` may be null; of its
/// keys, the row alignment is used. On failure `buffer` is set to null: invalid size (a side below 1 or above 16384),
/// invalid pixel format, invalid pixel buffer attributes, allocation failed.
CVReturn CVPixelBufferCreate(std::int64_t width, std::int64_t height, OSType pixelFormat,
                             const CVAttributes* attributes, std::shared_ptr<CVPixelBuffer>* buffer);

/// The application's memory of one plane. Between its elements and the next row there may be a gap.
struct CVPixelBufferPlane {
    void* bytes = nullptr;         ///< first element of the first row, at any address
    std::int64_t bytesPerRow = 0;  ///< from row to row: at least a row's elements, a multiple of one, at most 524288
};

/// Called when nobody needs an application's memory any longer. It may do anything but throw.
using CVPixelBufferReleaseCallback = std::function<void()>;

/// Makes a buffer around the application's own pixels, of one plane (BGRA), without a copy. They must stay until
/// `release` (may be empty) is called: exactly once, when the last holder of the buffer, of its surface and of its
/// textures lets go, on that holder's thread, which may be one of the device's. Gaps between rows and what follows the
/// last row's elements are neither read nor written.
///
/// On failure `buffer` is set to null and `release` is not called: invalid size, invalid pixel format (also one of
/// another number of planes), invalid argument (no bytes, or a row length that `CVPixelBufferPlane` doesn't allow),
/// allocation failed.
CVReturn CVPixelBufferCreateWithBytes(std::int64_t width, std::int64_t height, OSType pixelFormat, void* bytes,
                                      std::int64_t bytesPerRow, CVPixelBufferReleaseCallback release,
                                      std::shared_ptr<CVPixelBuffer>* buffer);
/// The same of as many planes as the format has: luma, then CbCr.
CVReturn CVPixelBufferCreateWithPlanarBytes(std::int64_t width, std::int64_t height, OSType pixelFormat,
                                            const std::vector<CVPixelBufferPlane>& planes,
                                            CVPixelBufferReleaseCallback release,
                                            std::shared_ptr<CVPixelBuffer>* buffer);

[[nodiscard]] std::int64_t CVPixelBufferGetWidth(const CVPixelBuffer& buffer);   ///< pixels
[[nodiscard]] std::int64_t CVPixelBufferGetHeight(const CVPixelBuffer& buffer);  ///< pixels
[[nodiscard]] OSType CVPixelBufferGetPixelFormatType(const CVPixelBuffer& buffer);
[[nodiscard]] bool CVPixelBufferIsPlanar(const CVPixelBuffer& buffer);
/// 0 for a buffer that isn't planar.
[[nodiscard]] std::int64_t CVPixelBufferGetPlaneCount(const CVPixelBuffer& buffer);
/// Sides of one plane in elements; 0 for a plane that doesn't exist. Plane 0 of a buffer that isn't planar is its
/// pixels.
[[nodiscard]] std::int64_t CVPixelBufferGetWidthOfPlane(const CVPixelBuffer& buffer, std::int64_t plane);
[[nodiscard]] std::int64_t CVPixelBufferGetHeightOfPlane(const CVPixelBuffer& buffer, std::int64_t plane);
[[nodiscard]] std::int64_t CVPixelBufferGetBytesPerRow(const CVPixelBuffer& buffer);
[[nodiscard]] std::int64_t CVPixelBufferGetBytesPerRowOfPlane(const CVPixelBuffer& buffer, std::int64_t plane);

/// Locks nest; the base addresses can be read only while locked. Unlocking a buffer that isn't locked is an error.
CVReturn CVPixelBufferLockBaseAddress(CVPixelBuffer& buffer, CVPixelBufferLockFlags flags);
CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBuffer& buffer, CVPixelBufferLockFlags flags);
/// Number of locks that haven't been undone.
[[nodiscard]] std::int64_t CVPixelBufferGetLockCount(const CVPixelBuffer& buffer);
/// Start of the pixels (plane 0); null while the buffer isn't locked.
[[nodiscard]] void* CVPixelBufferGetBaseAddress(const CVPixelBuffer& buffer);
/// Null while the buffer isn't locked, or for a plane that doesn't exist.
[[nodiscard]] void* CVPixelBufferGetBaseAddressOfPlane(const CVPixelBuffer& buffer, std::int64_t plane);
/// The memory of the buffer. Whoever holds it keeps the whole buffer from going back to its pool.
[[nodiscard]] std::shared_ptr<IOSurface> CVPixelBufferGetIOSurface(const std::shared_ptr<CVPixelBuffer>& buffer);

}  // namespace ondrix
