#pragma once

#include <ondrix/shading/Sampling.h>

/// Sampling a row at a time: where a draw reads a texture of four plain bytes along its rows, upright and linearly
/// filtered with clamped edges, the columns are the same in every row. They are worked out once a draw, and two rows of
/// the texture are blended once a row. Every result is bit for bit that of `sampling::straight`.
namespace ondrix::shading::rows {

enum class Kind {
    general,  ///< pixel by pixel, as sampling::straight
    copy,     ///< texel centres coincide with pixel centres
    box,      ///< every pixel is the mean of two by two texels
    blend,    ///< two rows blended, then two columns
};

/// What the columns first <= x < last of a target read. Kept in a thread's scratch memory from row to row of a draw.
struct Columns {
    std::uint64_t serial;  ///< of the draw; 0 before first use
    std::int32_t first, last;
    Kind kind;              ///< copy or box if the rows agree, else blend
    bool compact;           ///< each group of four columns reads from at most eight texels in rising order
    std::int32_t leftmost;  ///< first texel that is read
    std::int32_t texels;    ///< number of texels from there that are read
    // One element for each column and a pack more, from `first` on.
    std::int32_t* column;        ///< left texel, counted from `leftmost`
    std::int32_t* weights;       ///< weight of the left texel, that of the right one times 65536
    std::uint16_t* permutation;  ///< see lanes::blendColumns
    std::uint16_t* blended;      ///< the row's blended texels, four numbers each

    static constexpr std::size_t aligned(std::size_t bytes) { return (bytes + 63) / 64 * 64; }
    /// Room for the tables of a target and a texture of these widths.
    static std::size_t scratchBytes(std::int32_t targetWidth, std::int32_t textureWidth) {
        const auto padded = static_cast<std::size_t>(targetWidth) + 64;
        return aligned(sizeof(Columns)) + 2 * aligned(4 * padded) + aligned(16 * padded) +
               aligned(8 * (static_cast<std::size_t>(textureWidth) + 128));
    }
};

/// One row of a draw, ready to be read.
struct Row {
    Kind kind = Kind::general;
    bool compact = false;
    std::int32_t first = 0;  ///< column that the pointers below belong to
    const std::uint8_t* above = nullptr;
    const std::uint8_t* below = nullptr;
    const std::int32_t* column = nullptr;
    const std::int32_t* weights = nullptr;
    const std::uint16_t* permutation = nullptr;
    const std::uint16_t* blended = nullptr;
};

/// Texel and weight of a grid position under clamping: a weight of 0 at both edges, so no texel beyond them counts.
struct Tap {
    std::int32_t texel, weight;
};
inline Tap clampedTap(std::int32_t grid, std::int32_t size) {
    if (grid < 0) return {0, 0};
    if (grid >> 8 >= size - 1) return {size - 1, 0};
    return {grid >> 8, grid & 255};
}

inline bool applies(const TextureView& view, const SamplerView& sampler, const Varying2& at) {
    return !lanes::plain && isFourPlainBytes(static_cast<Format>(view.format)) && !at.perspective &&
           at.rowStep[0] == 0 && at.columnStep[1] == 0 &&
           sampling::filterOf(view, sampler, at) == static_cast<std::uint8_t>(MTLSamplerMinMagFilter::linear) &&
           sampler.sAddressMode == static_cast<std::uint8_t>(MTLSamplerAddressMode::clampToEdge) &&
           sampler.tAddressMode == static_cast<std::uint8_t>(MTLSamplerAddressMode::clampToEdge);
}

/// Fills the tables in `scratch` for the columns first <= x < last.
[[gnu::noinline]] inline void makeColumns(void* scratch, const TextureView& view, const Varying2& at,
                                          std::uint64_t serial, std::int32_t targetWidth, std::int32_t first,
                                          std::int32_t last) {
    auto& c = *static_cast<Columns*>(scratch);
    auto* memory = static_cast<std::uint8_t*>(scratch) + Columns::aligned(sizeof(Columns));
    const auto padded = static_cast<std::size_t>(targetWidth) + 64;
    c.column = reinterpret_cast<std::int32_t*>(memory);
    c.weights = reinterpret_cast<std::int32_t*>(memory += Columns::aligned(4 * padded));
    c.permutation = reinterpret_cast<std::uint16_t*>(memory += Columns::aligned(4 * padded));
    c.blended = reinterpret_cast<std::uint16_t*>(memory += Columns::aligned(16 * padded));
    c.serial = serial;
    c.first = first;
    c.last = last;

    const sampling::Line line = sampling::gridLine(at, 0, view.width);
    const int count = last - first, paddedCount = (count + 15) / 16 * 16 + 16;
    bool copy = true, box = true;
    std::int32_t leftmost = view.width, rightmost = 0;
    for (int i = 0; i < count; i += lanes::count) {
        const lanes::Ints grid = line.at(lanes::iota() + (first + i));
        for (int k = 0; k < lanes::count && i + k < count; k++) {
            const Tap tap = clampedTap(grid[k], view.width);
            c.column[i + k] = tap.texel;
            c.weights[i + k] = (256 - tap.weight) | tap.weight << 16;
            copy = copy && tap.weight == 0 && tap.texel == c.column[0] + i + k;
            box = box && tap.weight == 128 && tap.texel == c.column[0] + 2 * (i + k);
            leftmost = leftmost < tap.texel ? leftmost : tap.texel;
            rightmost = rightmost > tap.texel ? rightmost : tap.texel;
        }
    }
    for (int i = 0; i < count; i++) c.column[i] -= leftmost;
    for (int i = count; i < paddedCount; i++) {
        c.column[i] = c.column[count - 1];
        c.weights[i] = c.weights[count - 1];
    }
    c.kind = copy ? Kind::copy : box ? Kind::box : Kind::blend;
    c.leftmost = leftmost;
    c.texels = (rightmost + 2 < view.width ? rightmost + 2 : view.width) - leftmost;
    c.compact = true;
    for (int i = 0; i < paddedCount; i += 4) {
        for (int k = 0; k < 4; k++) {
            const std::int32_t distance = c.column[i + k] - c.column[i];
            c.compact = c.compact && distance >= 0 && distance <= 6;
            for (int channel = 0; channel < 4; channel++) {
                std::uint16_t* pair = c.permutation + 8 * static_cast<std::ptrdiff_t>(i + k) + 2 * channel;
                pair[0] = static_cast<std::uint16_t>(4 * distance + channel);
                pair[1] = static_cast<std::uint16_t>(4 * distance + 4 + channel);
            }
        }
    }
}

/// Gets one row ready; `at` is the coordinate at column 0 of the row, `span` the columns wanted.
[[gnu::noinline]] inline Row prepare(void* scratch, const TextureView& view, const Varying2& at, std::uint64_t serial,
                                     std::int32_t targetWidth, std::int32_t first, std::int32_t last) {
    auto& c = *static_cast<Columns*>(scratch);
    if (c.serial != serial || first < c.first || last > c.last) {
        makeColumns(scratch, view, at, serial, targetWidth, first, last);
    }
    const Tap tap = clampedTap(sampling::gridLine(at, 1, view.height).at(lanes::Ints{})[0], view.height);
    Row row;
    row.first = first;
    const int skipped = first - c.first;
    row.above = view.bytes + tap.texel * view.bytesPerRow + 4 * static_cast<std::int64_t>(c.leftmost);
    row.below = tap.weight != 0 ? row.above + view.bytesPerRow : row.above;
    if (c.kind == Kind::copy && tap.weight == 0) {
        row.kind = Kind::copy;
        row.above += 4 * static_cast<std::int64_t>(skipped);
        return row;
    }
    if (c.kind == Kind::box && tap.weight == 128) {
        row.kind = Kind::box;
        row.above += 8 * static_cast<std::int64_t>(skipped);
        row.below += 8 * static_cast<std::int64_t>(skipped);
        return row;
    }
    row.kind = Kind::blend;
    row.compact = c.compact && skipped % 4 == 0;
    row.column = c.column + skipped;
    row.weights = c.weights + skipped;
    row.permutation = c.permutation + 8 * static_cast<std::ptrdiff_t>(skipped);
    row.blended = c.blended;
    lanes::blendRows(row.above, row.below, tap.weight, c.blended, 4 * c.texels);
    std::memset(c.blended + 4 * static_cast<std::ptrdiff_t>(c.texels), 0,
                8);  // right neighbour of the last texel, weight 0
    return row;
}

ONDRIX_INLINE Texel readBox(const std::uint8_t* above, const std::uint8_t* below, int count, Format format) {
    alignas(64) std::uint8_t end[2][8 * lanes::count];
    if (count < lanes::count) {
        std::memcpy(end[0], above, 8 * static_cast<std::size_t>(count));
        std::memcpy(end[1], below, 8 * static_cast<std::size_t>(count));
        above = end[0];
        below = end[1];
    }
    lanes::Ints even, odd, evenBelow, oddBelow;
    lanes::loadEvenAndOdd(above, even, odd);
    lanes::loadEvenAndOdd(below, evenBelow, oddBelow);
    const auto low = [](lanes::Ints v) __attribute__((always_inline)) {
        return v & 0x00ff00ff;
    };
    const auto high = [](lanes::Ints v) __attribute__((always_inline)) {
        return lanes::shiftRightLogical<8>(v) & 0x00ff00ff;
    };
    const lanes::Ints firstAndThird = low(even) + low(odd) + low(evenBelow) + low(oddBelow);
    const lanes::Ints secondAndFourth = high(even) + high(odd) + high(evenBelow) + high(oddBelow);
    const auto rounded = [](lanes::Ints v) __attribute__((always_inline)) {
        return lanes::shiftRightLogical<2>(v + 0x00020002) & 0x00ff00ff;
    };
    const auto sum = [](lanes::Ints v) __attribute__((always_inline)) {
        return Int((v & 0xffff) << 14);
    };
    Texel texel =
        texelFromSums(sum(firstAndThird), sum(secondAndFourth), sum(lanes::shiftRightLogical<16>(firstAndThird)),
                      sum(lanes::shiftRightLogical<16>(secondAndFourth)), format);
    texel.exact = Int(rounded(firstAndThird) | rounded(secondAndFourth) << 8);
    return texel;
}

#if !defined(ONDRIX_PLAIN)
ONDRIX_INLINE Texel readBlend(const Row& row, int i, Format format) {
    const lanes::PixelSums sums =
        lanes::blendColumns(row.blended, row.column + i, row.weights + i,
                            row.permutation + 8 * static_cast<std::ptrdiff_t>(i), row.compact);
    lanes::Ints first, second, third, fourth;
    lanes::transpose(sums, first, second, third, fourth);
    Texel texel = texelFromSums(Int(first), Int(second), Int(third), Int(fourth), format);
    texel.exact = Int(lanes::roundSums(sums));
    return texel;
}
#endif

ONDRIX_INLINE Texel readCopy(const std::uint8_t* pixels, int count, Format format) {
    alignas(64) std::uint8_t end[4 * lanes::count];
    if (count < lanes::count) {
        std::memcpy(end, pixels, 4 * static_cast<std::size_t>(count));
        pixels = end;
    }
    return texelFromBytes(Int(lanes::loadWords(pixels)), format);
}

}  // namespace ondrix::shading::rows
