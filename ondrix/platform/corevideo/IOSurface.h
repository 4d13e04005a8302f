#pragma once

#include <cstdint>

namespace ondrix {

/// Pixel memory that can be shared between pixel buffers and textures, as one or more planes. Shared by reference; its
/// layout never changes.
class IOSurface {
public:
    virtual ~IOSurface() = default;

    [[nodiscard]] virtual std::uint64_t planeCount() const = 0;                        ///< at least 1
    [[nodiscard]] virtual std::uint64_t widthOfPlane(std::uint64_t plane) const = 0;   ///< elements
    [[nodiscard]] virtual std::uint64_t heightOfPlane(std::uint64_t plane) const = 0;  ///< rows
    [[nodiscard]] virtual std::uint64_t bytesPerElementOfPlane(
        std::uint64_t plane) const = 0;  ///< bytes of one element
    [[nodiscard]] virtual std::uint64_t bytesPerRowOfPlane(std::uint64_t plane) const = 0;
    /// Start of the plane. Between the last element of a row and the next row, or for the last row within the
    /// allocation, at least 64 more bytes can be read; their content is undefined.
    [[nodiscard]] virtual std::uint8_t* baseAddressOfPlane(std::uint64_t plane) const = 0;
};

}  // namespace ondrix
