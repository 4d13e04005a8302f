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
    /// From the start of a row to that of the next; a multiple of an element's bytes.
    [[nodiscard]] virtual std::uint64_t bytesPerRowOfPlane(std::uint64_t plane) const = 0;
    /// First element of the plane's first row, at any address. Only the elements belong to the surface: what lies
    /// between two rows or after the last may be somebody else's, or no memory at all.
    [[nodiscard]] virtual std::uint8_t* baseAddressOfPlane(std::uint64_t plane) const = 0;
};

}  // namespace ondrix
