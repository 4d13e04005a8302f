#pragma once

#include <cstdint>

struct AVFrame;
struct AVStream;

namespace ondrix {

/// How a stored picture is brought upright: mirrored left to right, if it is so, and then turned. Internal.
struct PictureOrientation {
    bool isMirrored = false;
    int clockwiseQuarters = 0;  ///< 0 to 3

    [[nodiscard]] static PictureOrientation of(const AVStream& stream);
    /// The frame's own, or else that of its stream.
    [[nodiscard]] static PictureOrientation of(const AVFrame& frame, PictureOrientation streamOrientation);
    /// Of the nine numbers of a display matrix; the nearest quarter turn.
    [[nodiscard]] static PictureOrientation ofMatrix(const std::int32_t* matrix);

    [[nodiscard]] bool isUpright() const { return !isMirrored && clockwiseQuarters == 0; }
    [[nodiscard]] bool swapsSides() const { return clockwiseQuarters % 2 != 0; }
};

/// A plane as it is stored: sides in elements, bytes from row to row.
struct StoredPlane {
    const std::uint8_t* bytes;
    std::int64_t bytesPerRow;
    std::int64_t width, height;
};

/// Writes the plane upright. Elements have 1, 2 or 4 bytes; the target has the turned sides.
void copyUpright(const StoredPlane& source, PictureOrientation orientation, int bytesPerElement, std::uint8_t* target,
                 std::int64_t targetBytesPerRow);

}  // namespace ondrix
