#pragma once

#include <optional>

#include <ondrix/shading/TextureLines.h>

/// Sampling a row at a time, for draws that read a texture of four plain bytes along its rows or columns, linearly
/// filtered with clamped edges. There every row of the target reads the same texels of a line of the texture, so the
/// texels and their weights are worked out once a draw. Each line of the texture is blended to the columns of the
/// target once, and two such lines are blended for each row of the target. Every result is bit for bit that of
/// `sampling::straight`: all sums are exact integers, so it doesn't matter which of the two directions is blended
/// first.
namespace ondrix::shading::rows {

enum class Kind {
    general,  ///< pixel by pixel, as sampling::straight
    copy,     ///< each pixel is one texel
    box,      ///< every pixel is the mean of two by two texels
    blend,    ///< two rows blended, then two columns
};

/// What the columns first <= x < last of a target read, the same in all rows. It lies at the start of a thread's
/// scratch memory, followed by the tables, and is kept from row to row of a draw.
struct Columns {
    std::uint64_t serial;  ///< of the draw; 0 before first use
    std::int32_t first, last;
    Kind kind;       ///< copy or box if the columns allow it, otherwise blend; each row must allow it, too
    bool hasTables;  ///< `compact` and the tables `window` and `taps` are filled in, which only blending needs
    bool compact;    ///< what a pack of columns reads lies in one window: `sampling::windowTexels` texels in a row
    Lines lines;     ///< from the first texel that is read on
    // Tables with an element for each column from `first` on, up to the end of the last pack. The elements of a pack
    // are in the order of `lanes::dealt`.
    std::int32_t* window;  ///< texel that `taps` count from, itself counted from the first of `lines`; if compact, the
                           ///< same for a whole pack
    std::int32_t* taps;    ///< four bytes: the numbers of the left and the right texel, and then their weights
    std::int32_t held[2];  ///< line of the texture that is in each half of `blended`, or -1
    std::uint16_t* blended;  ///< two lines at the columns, four numbers a pixel: 256 times the level, less 32768

    static constexpr std::size_t aligned(std::size_t bytes) { return (bytes + 63) / 64 * 64; }
    static constexpr std::size_t padded(std::int32_t targetWidth) { return static_cast<std::size_t>(targetWidth) + 64; }
    /// Room for the tables of a target of this width.
    static std::size_t scratchBytes(std::int32_t targetWidth, const TextureView& view) {
        const std::size_t width = padded(targetWidth);
        return aligned(sizeof(Columns)) + 2 * aligned(4 * width) + 2 * aligned(8 * width) + Lines::scratchBytes(view);
    }
    std::uint16_t* blendedLine(int half) const {
        return blended + half * (aligned(8 * padded(last - first)) / sizeof(std::uint16_t));
    }
};

/// One row of a draw, ready to be read.
struct Row {
    Kind kind = Kind::general;
    std::int32_t first = 0;    ///< column that the pointers below belong to
    std::int32_t weights = 0;  ///< to blend: that of the line above in the low half, of the line below in the high one
    const std::uint8_t* above = nullptr;
    const std::uint8_t* below = nullptr;
};

/// The texel at or before a position on the grid of 1/256 texel, and the weight of the texel after it, in 1/256. Edges
/// are clamped: before the first texel and from the last one on, the weight is 0.
struct Tap {
    std::int32_t texel, weight;
};
inline Tap clampedTap(std::int32_t grid, std::int32_t size) {
    if (grid < 0) return {0, 0};
    if (grid >> 8 >= size - 1) return {size - 1, 0};
    return {grid >> 8, grid & 255};
}

/// How the rows of a draw run over its texture; nothing if they are neither along its rows nor along its columns, or if
/// it is sampled in another way than this file is for.
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
    Course course{turned, step[turned ? 1 : 0] < 0, side != 0 || at.rowStep[turned ? 1 : 0] != 0};
    // A line of one texel is the same backwards. Reversed lines are copied to where a second texel may be read, which
    // blending does although its weight is 0.
    if (course.length(view) == 1) course.reversed = true;
    return course;
}

/// Whether `line`, rounded down, is start, start + step, start + 2 * step and so on at the columns first <= x < last.
/// Only the ends are looked at: if both are a quarter away from other whole numbers, so are all columns between them.
inline bool follows(const sampling::Line& line, double start, double step, std::int32_t first, std::int32_t last) {
    const auto between = [](double fraction) { return fraction > 0.25 && fraction < 0.75; };
    return between(line.start + line.step * first - start) &&
           between(line.start + line.step * (last - 1) - (start + step * (last - 1 - first)));
}

/// Starts a draw: finds out what the columns first <= x < last of its rows read of a line of the texture.
[[gnu::noinline]] inline void begin(void* scratch, const TextureView& view, Course course, const Varying2& at,
                                    std::uint64_t serial, std::int32_t targetWidth, std::int32_t first,
                                    std::int32_t last) {
    auto& c = *static_cast<Columns*>(scratch);
    auto* memory = static_cast<std::uint8_t*>(scratch) + Columns::aligned(sizeof(Columns));
    const std::size_t width = Columns::padded(targetWidth);
    c.window = reinterpret_cast<std::int32_t*>(memory);
    c.taps = reinterpret_cast<std::int32_t*>(memory += Columns::aligned(4 * width));
    c.blended = reinterpret_cast<std::uint16_t*>(memory += Columns::aligned(4 * width));
    c.lines.memory = memory + 2 * Columns::aligned(8 * width);
    c.held[0] = c.held[1] = -1;
    c.serial = serial;
    c.first = first;
    c.last = last;
    c.kind = Kind::blend;
    c.hasTables = false;

    const int size = course.length(view), direction = course.reversed ? -1 : 1, columns = last - first;
    const sampling::Line line = sampling::gridLine(at, course.along(), size);
    const auto start = line.at(first);
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
        // Positions don't fall from column to column, so the ends are the first and the last texel.
        const auto end = number(line.at(last - 1));
        const std::int32_t left = clampedTap(grid, size).texel, right = clampedTap(end, size).texel + 2;
        const std::int32_t from = std::max(0, std::min(left, size - 2));  // two texels if the line has them
        c.lines.begin(view, course, from, std::min(right, size) - from);
    }
}

/// Whether a row of a skewed course copies the same texels as the row that `begin` was called for, all of one line.
inline bool isCopy(const Columns& c, const TextureView& view, const Varying2& at, const sampling::Line& across,
                   std::int32_t first, std::int32_t last) {
    const Course course = c.lines.course;
    const int size = course.length(view), direction = course.reversed ? -1 : 1;
    const std::int32_t texel = c.lines.first + first - c.first;
    const int start = 256 * (course.reversed ? size - 1 - texel : texel);
    const std::int32_t line = across.at(first);
    return c.kind == Kind::copy && (line & 255) == 0 && line == across.at(last - 1) &&
           follows(sampling::gridLine(at, course.along(), size), start, 256 * direction, first, last);
}

#if !defined(ONDRIX_PLAIN)

/// Fills in the tables for blending the columns; false if they were to be compact and some pack needs more than a
/// window.
inline bool fillTables(Columns& c, const TextureView& view, const Varying2& at, bool compact) {
    const Course course = c.lines.course;
    const int size = course.length(view), count = c.last - c.first;
    const int texels = std::max(c.lines.texels, 2);  // see `courseOf` for lines of one texel
    const sampling::Line line = sampling::gridLine(at, course.along(), size);
    c.compact = compact;
    const int windowEnd = texels - (compact ? sampling::windowTexels : 2);
    if (windowEnd < 0) return false;
    for (int i = 0; i < count; i += lanes::count) {
        // Columns beyond the last one are like it.
        const lanes::Ints column = lanes::smaller(lanes::dealt(lanes::iota() + i), lanes::broadcast(count - 1));
        const lanes::Ints grid = line.at(column + c.first);
        Tap taps[lanes::count];
        std::int32_t lowest = texels;
        for (int k = 0; k < lanes::count; k++) {
            taps[k] = clampedTap(course.reversed ? 256 * (size - 1) - grid[k] : grid[k], size);
            taps[k].texel -= c.lines.first;
            lowest = taps[k].texel < lowest ? taps[k].texel : lowest;
        }
        for (int k = 0; k < lanes::count; k++) {
            const auto [texel, weight] = taps[k];
            const std::int32_t wanted = compact ? lowest : texel;
            const std::int32_t window = wanted < windowEnd ? wanted : windowEnd;
            // A byte can't hold a weight of 256, but twice the same texel amounts to that.
            const std::int32_t left = texel - window, right = left + (weight != 0);
            if (right >= sampling::windowTexels) return false;
            c.window[i + k] = window;
            c.taps[i + k] = left | right << 8 | (weight != 0 ? (256 - weight) << 16 | weight << 24 : 0x80800000);
        }
    }
    return true;
}

/// Blends the columns of a line.
[[gnu::noinline]] inline void blendColumns(const Columns& c, const std::uint8_t* line, std::uint16_t* blended) {
    const std::int32_t *taps = c.taps, *window = c.window;
    auto* to = reinterpret_cast<std::uint8_t*>(blended);
    const bool compact = c.compact;
    for (int i = 0, count = c.last - c.first; i < count; i += lanes::count, to += 8 * lanes::count) {
        const lanes::Ints these = lanes::load(taps + i);
        lanes::Ints left, right;
        if (__builtin_expect(compact, 1)) {
            const std::uint8_t* texels = line + 4 * static_cast<std::int64_t>(window[i]);
            lanes::fetchToRead(texels);
            left = lanes::pickWords(texels, these);
            right = lanes::pickWords(texels, these >> 8);
        } else {
            lanes::Ints first, second;
            lanes::gatherPairs(line, lanes::load(window + i), first, second);
            left = (these & 1) != 0 ? second : first;
            right = (these & 256) != 0 ? second : first;
        }
        // Bytes less 128, as signed numbers.
        left ^= static_cast<std::int32_t>(0x80808080);
        right ^= static_cast<std::int32_t>(0x80808080);
        lanes::storeWords(
            to, lanes::multiplyBytePairs(lanes::upperHalvesOfPairs<0>(these), lanes::interleaveBytes<0>(left, right)));
        lanes::storeWords(to + 4 * lanes::count, lanes::multiplyBytePairs(lanes::upperHalvesOfPairs<1>(these),
                                                                          lanes::interleaveBytes<1>(left, right)));
    }
}

/// The blended columns of a line of the texture.
inline const std::uint8_t* blendedLine(Columns& c, const TextureView& view, std::int32_t line) {
    const int half = line % 2;
    std::uint16_t* blended = c.blendedLine(half);
    if (c.held[half] != line) {
        c.held[half] = line;
        blendColumns(c, c.lines.at(view, line), blended);
    }
    return reinterpret_cast<const std::uint8_t*>(blended);
}

#endif

/// Gets the columns first <= x < last of a row ready; the result is of the kind `general` if they must be read pixel by
/// pixel. `at` is the row's coordinate.
[[gnu::noinline]] inline Row prepare(void* scratch, const TextureView& view, Course course, const Varying2& at,
                                     std::uint64_t serial, std::int32_t targetWidth, std::int32_t first,
                                     std::int32_t last) {
    auto& c = *static_cast<Columns*>(scratch);
    if (c.serial != serial || first < c.first || last > c.last) {
        begin(scratch, view, course, at, serial, targetWidth, first, last);
    }
    const int size = course.lines(view), skipped = first - c.first;
    const sampling::Line across = sampling::gridLine(at, course.across(), size);
    const Tap tap = clampedTap(across.at(first), size);
    Row row;
    row.first = first;
    if (course.skewed && !isCopy(c, view, at, across, first, last)) return row;
    if (c.kind == Kind::copy && tap.weight == 0) {
        row.kind = Kind::copy;
        row.above = c.lines.at(view, tap.texel) + 4 * static_cast<std::int64_t>(skipped);
        return row;
    }
    if (c.kind == Kind::box && tap.weight == 128) {
        row.kind = Kind::box;
        row.above = c.lines.at(view, tap.texel) + 8 * static_cast<std::int64_t>(skipped);
        row.below = c.lines.at(view, tap.texel + 1) + 8 * static_cast<std::int64_t>(skipped);
        return row;
    }
#if !defined(ONDRIX_PLAIN)
    if (c.lines.texels < 2 && course.length(view) > 1) return row;
    if (!c.hasTables) c.hasTables = fillTables(c, view, at, true) || fillTables(c, view, at, false);
    row.kind = Kind::blend;
    row.weights = (256 - tap.weight) | tap.weight << 16;
    row.above = blendedLine(c, view, tap.texel) + 8 * static_cast<std::int64_t>(skipped);
    row.below = row.above;
    if (tap.weight != 0) row.below = blendedLine(c, view, tap.texel + 1) + 8 * static_cast<std::int64_t>(skipped);
#endif
    return row;
}

/// The texels that a row copies from a line of the texture, if the rows before it were copies and it is one, too;
/// otherwise null. `across` is the coordinate that changes from row to row.
inline const std::uint8_t* copiedTexels(const void* scratch, const TextureView& view, std::uint64_t serial,
                                        const Plane& across, const Span& span) {
    const auto& c = *static_cast<const Columns*>(scratch);
    const Course course = c.lines.course;
    const bool alike = c.serial == serial && c.kind == Kind::copy && !course.turned && !course.reversed &&
                       !course.skewed && span.x0 >= c.first && span.x1 <= c.last;
    if (!alike) return nullptr;
    const sampling::Line line = sampling::gridLine(across.base + span.y * across.dy, across.dx, view.height);
    const Tap tap = clampedTap(line.at(span.x0), view.height);
    if (tap.weight != 0) return nullptr;
    return view.bytes + tap.texel * view.bytesPerRow + 4 * std::int64_t{c.lines.first + span.x0 - c.first};
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
    constexpr int half = 4 * lanes::count;  // bytes of half a pack
    const std::uint8_t *above = row.above + 8 * static_cast<std::int64_t>(i),
                       *below = row.below + 8 * static_cast<std::int64_t>(i);
    const lanes::Ints a0 = lanes::loadWords(above), a1 = lanes::loadWords(above + half);
    const lanes::Ints b0 = lanes::loadWords(below), b1 = lanes::loadWords(below + half);
    const lanes::Ints weights = lanes::broadcast(row.weights);
    return sampling::blendLines(
        {lanes::interleaveHalves<0>(a0, b0), lanes::interleaveHalves<1>(a0, b0), lanes::interleaveHalves<0>(a1, b1),
         lanes::interleaveHalves<1>(a1, b1)},
        {weights, weights, weights, weights}, format,
        [](lanes::Ints v) __attribute__((always_inline)) { return lanes::undealt(v); });
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
