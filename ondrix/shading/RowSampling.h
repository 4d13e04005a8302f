#pragma once

#include <optional>

#include <ondrix/shading/TextureLines.h>

/// Sampling a row at a time: where a draw reads a texture of four plain bytes along its rows or columns, linearly
/// filtered with clamped edges, the columns are the same in every row. They are worked out once a draw, and two lines
/// of the texture are blended once a row. Every result is bit for bit that of `sampling::straight`: all sums are exact
/// integers, so it doesn't matter which of the two directions is blended first.
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
    Kind kind;       ///< copy or box if the lines agree, else blend
    bool hasTables;  ///< what follows up to `permutation` is filled in, as blending needs
    bool compact;    ///< each group of four columns reads from at most eight texels in rising order
    Lines lines;     ///< from the first texel that is read on
    // One element for each column and a pack more, from `first` on.
    std::int32_t* column;        ///< left texel, counted from the first of `lines`
    std::int32_t* weights;       ///< weight of the left texel, that of the right one times 65536
    std::uint16_t* permutation;  ///< see lanes::blendColumns
    std::uint16_t* blended;      ///< the row's blended texels, four numbers each

    static constexpr std::size_t aligned(std::size_t bytes) { return (bytes + 63) / 64 * 64; }
    /// Room for the tables of a target of this width.
    static std::size_t scratchBytes(std::int32_t targetWidth, const TextureView& view) {
        const auto padded = static_cast<std::size_t>(targetWidth) + 64;
        return aligned(sizeof(Columns)) + 2 * aligned(4 * padded) + aligned(16 * padded) +
               static_cast<std::size_t>(2 * Lines::bytesFor(view) + 512) + Lines::scratchBytes(view);
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

/// How the rows of a draw run over its texture; nothing where they run askew or are sampled in another way.
inline std::optional<Course> courseOf(const TextureView& view, const SamplerView& sampler, const Varying2& at) {
    constexpr auto clamped = static_cast<std::uint8_t>(MTLSamplerAddressMode::clampToEdge);
    if (lanes::plain || at.perspective || !isFourPlainBytes(static_cast<Format>(view.format)) ||
        sampler.sAddressMode != clamped || sampler.tAddressMode != clamped ||
        sampling::filterOf(view, sampler, at) != static_cast<std::uint8_t>(MTLSamplerMinMagFilter::linear)) {
        return std::nullopt;
    }
    const double* step = at.columnStep;
    const bool turned = std::abs(step[1]) > std::abs(step[0]);
    const double side = step[turned ? 0 : 1];
    if (std::abs(side) > 1e-6 * std::abs(step[turned ? 1 : 0])) return std::nullopt;
    return Course{turned, step[turned ? 1 : 0] < 0, side != 0 || at.rowStep[turned ? 1 : 0] != 0};
}

/// Whether `line` passes the whole numbers from `start` on, one each `step`, in the columns first <= x < last, far
/// enough from its neighbours to be sure without a look at each column.
inline bool follows(const sampling::Line& line, double start, double step, std::int32_t first, std::int32_t last) {
    const auto between = [](double fraction) { return fraction > 0.25 && fraction < 0.75; };
    return between(line.start + line.step * first - start) &&
           between(line.start + line.step * (last - 1) - (start + step * (last - 1 - first)));
}

/// Starts a draw: looks at how the columns first <= x < last of its rows lie on the texture's lines.
[[gnu::noinline]] inline void begin(void* scratch, const TextureView& view, Course course, const Varying2& at,
                                    std::uint64_t serial, std::int32_t targetWidth, std::int32_t first,
                                    std::int32_t last) {
    auto& c = *static_cast<Columns*>(scratch);
    auto* memory = static_cast<std::uint8_t*>(scratch) + Columns::aligned(sizeof(Columns));
    const auto padded = static_cast<std::size_t>(targetWidth) + 64;
    c.column = reinterpret_cast<std::int32_t*>(memory);
    c.weights = reinterpret_cast<std::int32_t*>(memory += Columns::aligned(4 * padded));
    c.permutation = reinterpret_cast<std::uint16_t*>(memory += Columns::aligned(4 * padded));
    c.blended = reinterpret_cast<std::uint16_t*>(memory += Columns::aligned(16 * padded));
    c.lines.memory = memory + 2 * Lines::bytesFor(view) + 512;
    c.serial = serial;
    c.first = first;
    c.last = last;
    c.kind = Kind::blend;
    c.hasTables = false;

    const int size = course.length(view), direction = course.reversed ? -1 : 1, columns = last - first;
    const sampling::Line line = sampling::gridLine(at, course.along(), size);
    const auto start = line.at(lanes::Ints{} + first)[0];
    const auto number = [&](std::int32_t grid) { return course.reversed ? 256 * (size - 1) - grid : grid; };
    const std::int32_t grid = number(start), texel = grid >> 8;
    if ((grid & 255) == 0 && grid >= 0 && texel + columns <= size &&
        follows(line, start, 256 * direction, first, last)) {
        c.kind = Kind::copy;
        c.lines.begin(view, course, texel, columns);
    } else if ((grid & 255) == 128 && grid >= 0 && texel + 2 * columns <= size &&
               follows(line, start, 512 * direction, first, last)) {
        c.kind = Kind::box;
        c.lines.begin(view, course, texel, 2 * columns);
    } else {
        // The line is monotonous, so its ends are the first and the last texel.
        const auto end = number(line.at(lanes::Ints{} + (last - 1))[0]);
        const std::int32_t left = clampedTap(grid, size).texel, right = clampedTap(end, size).texel + 2;
        c.lines.begin(view, course, left, (right < size ? right : size) - left);
    }
}

/// Whether a row of a skewed course copies the texels that the first row would, from a single line.
inline bool isCopy(const Columns& c, const TextureView& view, const Varying2& at, const sampling::Line& across,
                   std::int32_t first, std::int32_t last) {
    const Course course = c.lines.course;
    const int size = course.length(view), direction = course.reversed ? -1 : 1;
    const std::int32_t texel = c.lines.first + first - c.first;
    const int start = 256 * (course.reversed ? size - 1 - texel : texel);
    const std::int32_t line = across.at(lanes::Ints{} + first)[0];
    return c.kind == Kind::copy && (line & 255) == 0 && line == across.at(lanes::Ints{} + (last - 1))[0] &&
           follows(sampling::gridLine(at, course.along(), size), start, 256 * direction, first, last);
}

/// Fills in the tables for blending the columns.
[[gnu::noinline]] inline void makeTables(Columns& c, const TextureView& view, const Varying2& at) {
    c.hasTables = true;
    const Course course = c.lines.course;
    const int size = course.length(view), count = c.last - c.first, paddedCount = (count + 15) / 16 * 16 + 16;
    const sampling::Line line = sampling::gridLine(at, course.along(), size);
    for (int i = 0; i < count; i += lanes::count) {
        const lanes::Ints grid = line.at(lanes::iota() + (c.first + i));
        for (int k = 0; k < lanes::count && i + k < count; k++) {
            const Tap tap = clampedTap(course.reversed ? 256 * (size - 1) - grid[k] : grid[k], size);
            c.column[i + k] = tap.texel - c.lines.first;
            c.weights[i + k] = (256 - tap.weight) | tap.weight << 16;
        }
    }
    for (int i = count; i < paddedCount; i++) {
        c.column[i] = c.column[count - 1];
        c.weights[i] = c.weights[count - 1];
    }
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

/// Gets one row ready, if it can be read as a row; `at` is the coordinate at its column 0, first <= x < last the
/// columns wanted.
[[gnu::noinline]] inline Row prepare(void* scratch, const TextureView& view, Course course, const Varying2& at,
                                     std::uint64_t serial, std::int32_t targetWidth, std::int32_t first,
                                     std::int32_t last) {
    auto& c = *static_cast<Columns*>(scratch);
    if (c.serial != serial || first < c.first || last > c.last) {
        begin(scratch, view, course, at, serial, targetWidth, first, last);
    }
    const int size = course.lines(view), skipped = first - c.first;
    const sampling::Line across = sampling::gridLine(at, course.across(), size);
    const Tap tap = clampedTap(across.at(lanes::Ints{} + first)[0], size);
    Row row;
    row.first = first;
    if (course.skewed && !isCopy(c, view, at, across, first, last)) return row;
    row.above = c.lines.at(view, tap.texel);
    row.below = tap.weight != 0 ? c.lines.at(view, tap.texel + 1) : row.above;
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
    if (!c.hasTables) makeTables(c, view, at);
    row.kind = Kind::blend;
    row.compact = c.compact && skipped % 4 == 0;
    row.column = c.column + skipped;
    row.weights = c.weights + skipped;
    row.permutation = c.permutation + 8 * static_cast<std::ptrdiff_t>(skipped);
    row.blended = c.blended;
    lanes::blendRows(row.above, row.below, tap.weight, c.blended, 4 * c.lines.texels);
    // The right neighbour of the last texel, at weight 0.
    std::memset(c.blended + 4 * static_cast<std::ptrdiff_t>(c.lines.texels), 0, 8);
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
    for (int line = 0; line < 8 * lanes::count; line += 64) {
        lanes::fetchToRead(above + line);
        lanes::fetchToRead(below + line);
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
    } else {
        lanes::fetchToRead(pixels);
    }
    return texelFromBytes(Int(lanes::loadWords(pixels)), format);
}

}  // namespace ondrix::shading::rows
