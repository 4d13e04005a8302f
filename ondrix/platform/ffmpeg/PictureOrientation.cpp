#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <numbers>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

#include <ondrix/platform/ffmpeg/PictureOrientation.h>

namespace ondrix {

namespace {

constexpr std::size_t matrixBytes = 9 * sizeof(std::int32_t);
/// Sides of the blocks in which a plane is turned, in elements: the rows of a block stay in the nearest cache.
constexpr std::int64_t blockSide = 32;

/// Where the target's first element comes from, and how far it is from there to those of its neighbours, in bytes.
struct Walk {
    const std::uint8_t* first;
    std::int64_t right, down;
};

Walk walkOf(const StoredPlane& source, PictureOrientation orientation, int bytesPerElement) {
    const std::int64_t across = orientation.isMirrored ? -bytesPerElement : bytesPerElement;
    const std::int64_t along = source.bytesPerRow;
    const std::uint8_t* const topLeft =
        orientation.isMirrored ? source.bytes + (source.width - 1) * bytesPerElement : source.bytes;
    switch (orientation.clockwiseQuarters) {
        case 1:
            return {topLeft + (source.height - 1) * along, -along, across};
        case 2:
            return {topLeft + (source.width - 1) * across + (source.height - 1) * along, -across, -along};
        case 3:
            return {topLeft + (source.width - 1) * across, along, -across};
        default:
            return {topLeft, across, along};
    }
}

template <class Element>
void copyBlocks(Walk walk, std::uint8_t* target, std::int64_t targetBytesPerRow, std::int64_t width,
                std::int64_t height) {
    for (std::int64_t top = 0; top < height; top += blockSide) {
        const std::int64_t bottom = std::min(top + blockSide, height);
        for (std::int64_t left = 0; left < width; left += blockSide) {
            const std::int64_t right = std::min(left + blockSide, width);
            for (std::int64_t y = top; y < bottom; ++y) {
                const std::uint8_t* source = walk.first + y * walk.down + left * walk.right;
                std::uint8_t* const row = target + y * targetBytesPerRow;
                for (std::int64_t x = left; x < right; ++x, source += walk.right) {
                    std::memcpy(row + x * static_cast<std::int64_t>(sizeof(Element)), source, sizeof(Element));
                }
            }
        }
    }
}

}  // namespace

PictureOrientation PictureOrientation::ofMatrix(const std::int32_t* matrix) {
    // A point (x, y), y downwards, is shown at (a x + c y, b x + d y).
    double a = matrix[0], b = matrix[1];
    const double c = matrix[3], d = matrix[4];
    PictureOrientation result;
    result.isMirrored = a * d - b * c < 0;
    if (result.isMirrored) {
        a = -a;
        b = -b;
    }
    if (a == 0 && b == 0) return {};
    const auto quarters = std::lround(std::atan2(b, a) / (std::numbers::pi / 2));
    result.clockwiseQuarters = static_cast<int>((quarters + 4) % 4);
    return result;
}

PictureOrientation PictureOrientation::of(const AVStream& stream) {
    std::size_t size = 0;
    const std::uint8_t* const bytes = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (bytes == nullptr || size < matrixBytes) return {};
    return ofMatrix(reinterpret_cast<const std::int32_t*>(bytes));
}

PictureOrientation PictureOrientation::of(const AVFrame& frame, PictureOrientation streamOrientation) {
    const AVFrameSideData* const data = av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX);
    if (data == nullptr || data->size < matrixBytes) return streamOrientation;
    return ofMatrix(reinterpret_cast<const std::int32_t*>(data->data));
}

void copyUpright(const StoredPlane& source, PictureOrientation orientation, int bytesPerElement, std::uint8_t* target,
                 std::int64_t targetBytesPerRow) {
    const Walk walk = walkOf(source, orientation, bytesPerElement);
    const std::int64_t width = orientation.swapsSides() ? source.height : source.width;
    const std::int64_t height = orientation.swapsSides() ? source.width : source.height;
    switch (bytesPerElement) {
        case 1:
            return copyBlocks<std::uint8_t>(walk, target, targetBytesPerRow, width, height);
        case 2:
            return copyBlocks<std::uint16_t>(walk, target, targetBytesPerRow, width, height);
        default:
            assert(bytesPerElement == 4);
            return copyBlocks<std::uint32_t>(walk, target, targetBytesPerRow, width, height);
    }
}

}  // namespace ondrix
