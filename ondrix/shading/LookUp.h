#pragma once

#include <ondrix/shading/Math.h>
#include <ondrix/shading/Texture.h>

/// Textures as tables: entries at whole places, and what lies between two of them in a straight line from one to the
/// other.
namespace ondrix::shading {

namespace tables {

/// The entries before and after a place on an axis, and how far it is from one to the other.
struct Axis {
    Int x[2], y[2];  ///< texels to the right and down
    Float weight;

    /// `along` gives the texels of an entry by its number, 0 to `last`.
    template <class Along>
    ONDRIX_INLINE Axis(Float place, int last, const Along& along) {
        const Float limited = clamp(place, 0, last);
        const Int before(lanes::truncate(limited.v));
        weight = limited - Float(before);
        for (int i = 0; i < 2; i++) {
            const Int2 texels = along(min(before + i, last));
            x[i] = texels.x;
            y[i] = texels.y;
        }
    }
};

/// The sum over all axes of what `along` gives for the entry before (0) or after (1), by the bits of `corner`.
template <int axes, class Along>
ONDRIX_INLINE Int sum(int corner, const Along& along) {
    Int all = along(0, corner & 1);
    for (int axis = 1; axis < axes; axis++) all += along(axis, corner >> axis & 1);
    return all;
}

/// What `colourAt` gives for each corner, mixed along the first axis, then the second, and so on; depth first, so that
/// few colours are held at a time.
template <class Colour, int axes, int left = axes, class ColourAt>
ONDRIX_INLINE Colour mixed(const Float (&weights)[axes], const ColourAt& colourAt, int corner = 0) {
    if constexpr (left == 0) {
        return colourAt(corner);
    } else {
        const Colour before = mixed<Colour, axes, left - 1>(weights, colourAt, corner);
        const Colour after = mixed<Colour, axes, left - 1>(weights, colourAt, corner | 1 << (left - 1));
        return mix(before, after, weights[left - 1]);
    }
}

#if !defined(ONDRIX_PLAIN)

/// All corners must lie inside the texture, which is one that `reading::areGathered` is true for.
template <Format format, int axes>
ONDRIX_INLINE Float4 gather(const TextureView& view, const Axis (&along)[axes], const Float (&weights)[axes]) {
    constexpr int corners = 1 << axes, words = bytesPerPixel(format) / 4;
    const int wordsPerRow = static_cast<int>(view.bytesPerRow / 4);
    Int offsets[axes][2];
    for (int axis = 0; axis < axes; axis++) {
        for (int i = 0; i < 2; i++) offsets[axis][i] = along[axis].x[i] * words + along[axis].y[i] * wordsPerRow;
    }
    const auto indexOf = [&](int corner) __attribute__((always_inline)) {
        return sum<axes>(
                   corner, [&](int axis, int i) __attribute__((always_inline)) { return offsets[axis][i]; })
            .v;
    };
    if constexpr (words == 1) {
        return mixed<Float4>(
            weights, [&](int corner) __attribute__((always_inline))->Float4 {
                return texelFromBytes(Int(lanes::gather(view.bytes, indexOf(corner))), format);
            });
    } else {
        alignas(64) std::int32_t at[corners][lanes::count];
        for (int corner = 0; corner < corners; corner++) lanes::store(at[corner], indexOf(corner));
        // The components of a pixel are mixed side by side, as they lie in a texel: of every four pixels one at a time.
        return reading::turned([&]<int k>(std::integral_constant<int, k>) __attribute__((always_inline)) {
            Float own[axes];
            for (int axis = 0; axis < axes; axis++) {
                own[axis] = asFloat(Int(lanes::laneOfFour<k>(asInt(weights[axis]).v)));
            }
            return mixed<Float>(
                own, [&](int corner) __attribute__((always_inline)) {
                    return reading::components<format>(lanes::texelsOfFour<k, 4 * words>(view.bytes, at[corner]));
                });
        });
    }
}

#endif

/// `isInside` tells that all entries lie inside the texture.
template <class Table, int axes>
ONDRIX_INLINE Float4 lookUp(const Table& table, const Axis (&along)[axes], [[maybe_unused]] bool isInside) {
    Float weights[axes];
    for (int axis = 0; axis < axes; axis++) weights[axis] = along[axis].weight;
#if !defined(ONDRIX_PLAIN)
    if (isInside && reading::areGathered(table.view)) {
        switch (static_cast<Format>(table.view.format)) {
            case Format::rgba32f:
                return gather<Format::rgba32f>(table.view, along, weights);
            case Format::rgba16f:
                return gather<Format::rgba16f>(table.view, along, weights);
            case Format::rgba8:
                return gather<Format::rgba8>(table.view, along, weights);
            case Format::bgra8:
                return gather<Format::bgra8>(table.view, along, weights);
            default:
                break;
        }
    }
#endif
    return mixed<Float4>(
        weights, [&](int corner) __attribute__((always_inline))->Float4 {
            return table.read({sum<axes>(corner, [&](int axis, int i) { return along[axis].x[i]; }),
                               sum<axes>(corner, [&](int axis, int i) { return along[axis].y[i]; })});
        });
}

}  // namespace tables

/// What the first row of a texture holds at a place from 0, its first pixel, to width - 1. Places beyond either end are
/// those of the ends, NaN is 0. Fast for textures of rgba32f, rgba16f, rgba8 and bgra8.
template <int slot, auto... options>
ONDRIX_INLINE Float4 lookUp(const Texture<slot, options...>& table, Float place) {
    const tables::Axis along[] = {{place, table.width() - 1, [](Int entry) { return Int2{entry, 0}; }}};
    return tables::lookUp(table, along, true);
}

/// The same in three dimensions, for a cube of `size` entries a side, each place from 0 to size - 1. The entries of
/// each z are a square of x to the right and y downward. As many squares as there is room for lie side by side from the
/// left, and the next ones below. A texture that is too small for them reads as zero outside.
template <int slot, auto... options>
ONDRIX_INLINE Float4 lookUp(const Texture<slot, options...>& table, Float3 place, int size) {
    const int side = std::clamp(size, 1, 16384), last = side - 1;
    const int across = std::max(table.width() / side, 1);
    const float squares = 1.0f / static_cast<float>(across);
    const tables::Axis along[] = {{place.x, last,
                                   [](Int entry) {
                                       return Int2{entry, 0};
                                   }},
                                  {place.y, last,
                                   [](Int entry) {
                                       return Int2{0, entry};
                                   }},
                                  {place.z, last, [&](Int entry) {
                                       // Half a square more keeps rounding away from the next row.
                                       const Int row(lanes::truncate(((Float(entry) + 0.5f) * squares).v));
                                       return Int2{(entry - row * across) * side, row * side};
                                   }}};
    return tables::lookUp(table, along, side <= table.width() && (last / across + 1) * side <= table.height());
}

}  // namespace ondrix::shading
