#pragma once

#include <ondrix/shading/Sampling.h>

/// A draw whose rows run along a texture's columns, or along its rows backwards, reads the texture as if it had been
/// turned or mirrored before: line by line, from a copy of a few lines in a thread's scratch memory.
namespace ondrix::shading::rows {

/// How the rows of a draw run over a texture.
struct Course {
    bool turned = false;    ///< along its columns
    bool reversed = false;  ///< towards smaller texel numbers
    /// The course is only nearly along rows or columns, as after a turn by a matrix of rounded sines. What was found
    /// out for one row need not hold for the next.
    bool skewed = false;

    int along() const { return turned ? 1 : 0; }  ///< component of the coordinate that changes within a row
    int across() const { return turned ? 0 : 1; }
    int length(const TextureView& view) const { return turned ? view.height : view.width; }  ///< texels of a line
    int lines(const TextureView& view) const { return turned ? view.width : view.height; }
};

/// Columns of a texture that are turned at once: 64 bytes of each row, a line of the processor's cache.
inline constexpr int linesAtOnce = 16;
/// How far ahead the rows of a column are fetched.
inline constexpr int linesAhead = 64;

/// One step of `turnSquare`: of each pair of rows that are `half` apart, the words between are exchanged.
template <int half, std::size_t... lane>
ONDRIX_INLINE void exchangeWords(lanes::Ints (&rows)[lanes::count], std::index_sequence<lane...>) {
    constexpr int count = lanes::count;
    for (int i = 0; i < count; i++) {
        if ((i & half) != 0) continue;
        const lanes::Ints a = rows[i], b = rows[i + half];
        rows[i] = __builtin_shufflevector(a, b, ((int(lane) & half) != 0 ? count + int(lane) - half : int(lane))...);
        rows[i + half] = __builtin_shufflevector(a, b, ((int(lane) & half) != 0 ? count : half) + int(lane)...);
    }
    if constexpr (half > 1) exchangeWords<half / 2>(rows, std::index_sequence<lane...>{});
}

/// Transposes a square of `lanes::count` texels a side: word i of row k becomes word k of row i.
ONDRIX_INLINE void turnSquare(lanes::Ints (&rows)[lanes::count]) {
    if constexpr (lanes::count > 1) {
        exchangeWords<lanes::count / 2>(rows, std::make_index_sequence<lanes::count>{});
    }
}

/// Lines of a texture, turned and mirrored as a draw reads them. Upright lines are read from the texture itself, others
/// from copies in scratch memory.
struct Lines {
    Course course;
    std::int32_t first, texels;  ///< the texels of each line that the draw reads, numbered in the order of its columns
    std::int32_t held[2];        ///< number of the block of lines that each half of the memory holds, or -1
    std::int64_t bytesPerLine;
    std::uint8_t* memory;

    static std::int64_t bytesFor(const TextureView& view) {
        const int longest = view.width > view.height ? view.width : view.height;
        return (4 * static_cast<std::int64_t>(longest) + 191) / 64 * 64;
    }
    static std::size_t scratchBytes(const TextureView& view) {
        return static_cast<std::size_t>(2 * linesAtOnce * bytesFor(view));
    }
    void begin(const TextureView& view, Course newCourse, std::int32_t firstTexel, std::int32_t texelCount) {
        course = newCourse;
        first = firstTexel;
        texels = texelCount;
        held[0] = held[1] = -1;
        bytesPerLine = bytesFor(view);
    }

    /// Address of texel `first` of a line, which the other `texels` follow.
    const std::uint8_t* at(const TextureView& view, std::int32_t line) {
        if (!course.turned && !course.reversed) {
            return view.bytes + line * view.bytesPerRow + 4 * static_cast<std::int64_t>(first);
        }
        const int together = course.turned ? linesAtOnce : 1;
        const std::int32_t block = line / together;
        std::uint8_t* half = memory + (block % 2) * linesAtOnce * bytesPerLine;
        if (held[block % 2] != block) {
            held[block % 2] = block;
            course.turned ? turn(view, block * linesAtOnce, half) : mirror(view, line, half);
        }
        return half + (line % together) * bytesPerLine;
    }

private:
    std::int32_t texelOf(const TextureView& view, std::int32_t i) const {
        return course.reversed ? course.length(view) - 1 - i : i;
    }

    /// Address of a texel in column `x`; that of the last texel that is read, for numbers beyond it.
    const std::uint8_t* texelAddress(const TextureView& view, std::int32_t texel, std::int32_t x) const {
        const std::int32_t last = first + texels - 1;
        return view.bytes + texelOf(view, texel < last ? texel : last) * view.bytesPerRow +
               4 * static_cast<std::int64_t>(x);
    }

    [[gnu::noinline]] void mirror(const TextureView& view, std::int32_t line, std::uint8_t* to) const {
        const std::uint8_t* row = view.bytes + line * view.bytesPerRow;
        for (std::int32_t i = 0; i < texels; i++) {
            std::memcpy(to + 4 * static_cast<std::int64_t>(i),
                        row + 4 * static_cast<std::int64_t>(texelOf(view, first + i)), 4);
        }
    }

    /// Copies the columns from `column` on as lines. Whole packs are stored, so the last texel is repeated in the room
    /// that is left at the end of each line.
    [[gnu::noinline]] void turn(const TextureView& view, std::int32_t column, std::uint8_t* to) const {
        for (int group = 0; group < linesAtOnce; group += lanes::count) {
            const std::int32_t x = column + group;
            if (x + lanes::count > view.width) {
                turnColumns(view, x, to + group * bytesPerLine);
                return;
            }
            for (std::int32_t i = 0; i < texels; i += lanes::count) {
                lanes::Ints square[lanes::count];
                for (int k = 0; k < lanes::count; k++) {
                    square[k] = lanes::loadWords(texelAddress(view, first + i + k, x));
                    // The processor's own prefetching doesn't follow columns.
                    __builtin_prefetch(texelAddress(view, first + i + k + linesAhead, x));
                }
                turnSquare(square);
                for (int k = 0; k < lanes::count; k++) {
                    lanes::storeWords(to + (group + k) * bytesPerLine + 4 * static_cast<std::int64_t>(i), square[k]);
                }
            }
        }
    }

    /// The same for the last columns of a texture, one by one.
    void turnColumns(const TextureView& view, std::int32_t column, std::uint8_t* to) const {
        for (std::int32_t x = column; x < view.width; x++, to += bytesPerLine) {
            for (std::int32_t i = 0; i < texels; i++) {
                std::memcpy(to + 4 * static_cast<std::int64_t>(i),
                            view.bytes + texelOf(view, first + i) * view.bytesPerRow + 4 * static_cast<std::int64_t>(x),
                            4);
            }
        }
    }
};

}  // namespace ondrix::shading::rows
