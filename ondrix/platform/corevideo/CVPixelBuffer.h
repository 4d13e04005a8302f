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

// Further formats, which video is decoded to and which `FrameReader` takes. Of planar ones, "420" has chroma of half
// the sides, "422" of half the width and "444" of the same sides; sides are rounded up. Where neither range is named,
// the buffer's colours say it (CVPixelBufferColours.h).
inline constexpr OSType kCVPixelFormatType_32RGBA = 0x52474241;                        ///< 'RGBA', one plane
inline constexpr OSType kCVPixelFormatType_OneComponent8 = 0x4C303038;                 ///< 'L008', grey
inline constexpr OSType kCVPixelFormatType_64RGBAHalf = 0x52476841;                    ///< 'RGhA', 16-bit floats
inline constexpr OSType kCVPixelFormatType_128RGBAFloat = 0x52476641;                  ///< 'RGfA', 32-bit floats
inline constexpr OSType kCVPixelFormatType_420YpCbCr8Planar = 0x79343230;              ///< 'y420': luma, Cb, Cr
inline constexpr OSType kCVPixelFormatType_420YpCbCr8PlanarFullRange = 0x66343230;     ///< 'f420': luma, Cb, Cr
inline constexpr OSType kCVPixelFormatType_422YpCbCr8Planar = 0x79343232;              ///< 'y422': luma, Cb, Cr
inline constexpr OSType kCVPixelFormatType_444YpCbCr8Planar = 0x79343434;              ///< 'y444': luma, Cb, Cr
inline constexpr OSType kCVPixelFormatType_420YpCrCb8BiPlanarVideoRange = 0x34323176;  ///< '421v': luma and CrCb (NV21)
inline constexpr OSType kCVPixelFormatType_420YpCrCb8BiPlanarFullRange = 0x34323166;   ///< '421f': luma and CrCb (NV21)
inline constexpr OSType kCVPixelFormatType_422YpCbCr8BiPlanarVideoRange = 0x34323276;  ///< '422v', luma and CbCr
inline constexpr OSType kCVPixelFormatType_422YpCbCr8BiPlanarFullRange = 0x34323266;   ///< '422f', luma and CbCr
inline constexpr OSType kCVPixelFormatType_444YpCbCr8BiPlanarVideoRange = 0x34343476;  ///< '444v', luma and CbCr
inline constexpr OSType kCVPixelFormatType_444YpCbCr8BiPlanarFullRange = 0x34343466;   ///< '444f', luma and CbCr
// Ten bits in 16, in the order of this machine: biplanar ones in the upper bits (P010), planar ones in the lower bits.
inline constexpr OSType kCVPixelFormatType_420YpCbCr10BiPlanarVideoRange = 0x78343230;  ///< 'x420', luma and CbCr
inline constexpr OSType kCVPixelFormatType_420YpCbCr10BiPlanarFullRange = 0x78663230;   ///< 'xf20', luma and CbCr
inline constexpr OSType kCVPixelFormatType_420YpCbCr10Planar = 0x7A343230;              ///< 'z420': luma, Cb, Cr
inline constexpr OSType kCVPixelFormatType_422YpCbCr10Planar = 0x7A343232;              ///< 'z422': luma, Cb, Cr
inline constexpr OSType kCVPixelFormatType_444YpCbCr10Planar = 0x7A343434;              ///< 'z444': luma, Cb, Cr

/// Flags of `CVPixelBufferLockBaseAddress`.
using CVPixelBufferLockFlags = std::uint64_t;
inline constexpr CVPixelBufferLockFlags kCVPixelBufferLock_ReadOnly = 1;

/// One frame of pixels in main memory, shared by reference. Nothing orders access from several threads.
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
/// The same of as many planes as the format has, in its order.
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
