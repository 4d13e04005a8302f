#pragma once

#include <ondrix/shading/Texture.h>

/// Pictures of other sizes by sums of any number of texels with given weights: first of the rows, then of the columns.
/// Sums are floats, each added in one order, so all levels agree; where whole rows of bytes are added, every sum is a
/// whole number and the order doesn't matter.
namespace ondrix::shading::resampling {

/// The four components of a texel.
typedef float Colour __attribute__((vector_size(16)));
typedef Colour ColourInMemory __attribute__((aligned(4), may_alias));

ONDRIX_INLINE Colour load(const float* p) {
    return *reinterpret_cast<const ColourInMemory*>(p);
}

/// Texels on an axis of the picture, at least one, and their weights.
struct Taps {
    int first = 0, count = 1;
    float firstWeight = 0, lastWeight = 0;
    const std::uint8_t* weights = nullptr;  ///< of all texels, four a row; null where those between have the weight 1
    std::int64_t bytesPerRow = 0;           ///< of `weights`

    ONDRIX_INLINE int end() const { return first + count; }
    ONDRIX_INLINE float operator[](int i) const {
        if (weights == nullptr) return i == 0 ? firstWeight : i == count - 1 ? lastWeight : 1;
        float weight;
        std::memcpy(&weight, weights + i / 4 * bytesPerRow + i % 4 * 4, 4);
        return weight;
    }
};

/// Which texels the columns or rows of an output are made of. Whatever the table holds, they lie in the picture.
struct Table {
    const TextureView& view;
    int size;  ///< of the picture along the axis
    bool hasWeights;

    Taps operator[](int i) const {
        float entry[4] = {0, 1, 1, 0};
        const std::int64_t offset = 16 * std::int64_t{std::clamp(i, 0, view.width - 1)};
        const bool isTable = static_cast<Format>(view.format) == Format::rgba32f;
        if (isTable) std::memcpy(entry, view.bytes + offset, sizeof entry);
        const auto whole = [](float number, int smallest, int largest) {
            if (!(number > static_cast<float>(smallest))) return smallest;
            return number < static_cast<float>(largest) ? static_cast<int>(number) : largest;
        };
        Taps taps{whole(entry[0], 0, size - 1), 1, entry[2], entry[3]};
        taps.count = whole(entry[1], 1, size - taps.first);
        if (hasWeights && isTable && view.height > 1) {
            taps.count = std::min(taps.count, 4 * (view.height - 1));
            taps.weights = view.bytes + view.bytesPerRow + offset;
            taps.bytesPerRow = view.bytesPerRow;
        }
        return taps;
    }
};

/// So many texels of summed rows are held at once.
inline constexpr int summedTexels = 1024;
/// So many pixels of an output are made at once.
inline constexpr int pixelsAtOnce = 512;

/// Adds a row of `count` numbers.
template <class Number>
ONDRIX_INLINE void add(float* sums, const Number* numbers, int count, float weight) {
    for (int i = 0; i < count; i++) sums[i] += static_cast<float>(numbers[i]) * weight;
}

/// Texels of a row as floats, red first.
inline void decode(const TextureView& view, int x, int y, int count, float* texels) {
    if (static_cast<Format>(view.format) == Format::rgba32f) {
        std::memcpy(texels, view.bytes + y * view.bytesPerRow + 16 * std::int64_t{x},
                    16 * static_cast<std::size_t>(count));
        return;
    }
    for (int i = 0; i < count; i += lanes::count) {
        const Texel pack = reading::run(view, {x + i, y, std::min(count - i, lanes::count)});
        alignas(64) float components[4][lanes::count];
        lanes::store(components[0], pack.x.v);
        lanes::store(components[1], pack.y.v);
        lanes::store(components[2], pack.z.v);
        lanes::store(components[3], pack.w.v);
        for (int k = 0; k < lanes::count && i + k < count; k++) {
            for (int c = 0; c < 4; c++) texels[4 * (i + k) + c] = components[c][k];
        }
    }
}

#if !defined(ONDRIX_PLAIN)

/// Bytes as numbers of 16 bits in the even and the odd bytes' places.
struct Halves {
    lanes::Ints even, odd;

    ONDRIX_INLINE Halves& operator+=(lanes::Ints bytes) {
        even += bytes & 0x00ff00ff;
        odd += lanes::shiftRightLogical<8>(bytes) & 0x00ff00ff;
        return *this;
    }
    /// The numbers of all texels in their order.
    ONDRIX_INLINE void toFloats(lanes::Floats (&numbers)[4]) const {
        using lanes::interleaveHalves;
        const lanes::Ints a = lanes::detail::pick<lanes::Ints, lanes::detail::Dealt>(even, even),
                          b = lanes::detail::pick<lanes::Ints, lanes::detail::Dealt>(odd, odd), none{};
        const lanes::Ints lower = interleaveHalves<0>(a, b), upper = interleaveHalves<1>(a, b);
        numbers[0] = __builtin_convertvector(interleaveHalves<0>(lower, none), lanes::Floats);
        numbers[1] = __builtin_convertvector(interleaveHalves<1>(lower, none), lanes::Floats);
        numbers[2] = __builtin_convertvector(interleaveHalves<0>(upper, none), lanes::Floats);
        numbers[3] = __builtin_convertvector(interleaveHalves<1>(upper, none), lanes::Floats);
    }
};

/// Sums of all rows of bytes, those between the first and the last with the weight 1, for `packs` packs of texels.
template <int packs>
ONDRIX_INLINE void addBox(const std::uint8_t* first, std::int64_t bytesPerRow, const Taps& rows, float* sums) {
    constexpr int mostRows = 256;  // whose sums 16 bits hold
    constexpr int bytes = 4 * lanes::count;
    lanes::Floats totals[packs][4] = {};
    const std::uint8_t* row = first + bytesPerRow;
    for (int left = rows.count - 2; left > 0; left -= mostRows) {
        Halves halves[packs] = {};
        for (int i = std::min(left, mostRows); i > 0; i--, row += bytesPerRow) {
            lanes::fetchToRead(row);
            for (int pack = 0; pack < packs; pack++) halves[pack] += lanes::loadWords(row + pack * bytes);
        }
        for (int pack = 0; pack < packs; pack++) {
            lanes::Floats numbers[4];
            halves[pack].toFloats(numbers);
            for (int i = 0; i < 4; i++) totals[pack][i] += numbers[i];
        }
    }
    const auto edge = [&](const std::uint8_t* at, float weight) __attribute__((always_inline)) {
        lanes::fetchToRead(at);
        for (int pack = 0; pack < packs; pack++) {
            lanes::Floats numbers[4];
            Halves halves{};
            (halves += lanes::loadWords(at + pack * bytes)).toFloats(numbers);
            for (int i = 0; i < 4; i++) totals[pack][i] += numbers[i] * weight;
        }
    };
    edge(first, rows.firstWeight);
    if (rows.count > 1) edge(first + (rows.count - 1) * bytesPerRow, rows.lastWeight);
    for (int pack = 0; pack < packs; pack++) {
        for (int i = 0; i < 4; i++) lanes::store(sums + (4 * pack + i) * lanes::count, totals[pack][i]);
    }
}

#endif

/// Sums of rows at `count` texels from `x` on: of bytes in their order in memory for four plain bytes, else of colours.
inline void sumRows(const TextureView& view, const Taps& rows, int x, int count, float* sums) {
    const bool isBytes = isFourPlainBytes(static_cast<Format>(view.format));
    const std::uint8_t* first = view.bytes + rows.first * view.bytesPerRow + 4 * std::int64_t{x};
    int start = 0;
#if !defined(ONDRIX_PLAIN)
    if (isBytes && rows.weights == nullptr) {
        constexpr int packs = 16 / lanes::count, texels = packs * lanes::count;  // a line of the processor's cache
        for (; start + texels <= count; start += texels) {
            addBox<packs>(first + 4 * std::int64_t{start}, view.bytesPerRow, rows, sums + 4 * start);
        }
    }
#endif
    if (start == count) return;
    const int numbers = 4 * (count - start);
    std::memset(sums + 4 * start, 0, static_cast<std::size_t>(4 * numbers));
    const auto addRow = [&](int i) {
        if (isBytes) {
            return add(sums + 4 * start, first + i * view.bytesPerRow + 4 * std::int64_t{start}, numbers, rows[i]);
        }
        float texels[4 * summedTexels];
        decode(view, x, rows.first + i, count, texels);
        add(sums, texels, numbers, rows[i]);
    };
    if (rows.weights != nullptr) {
        for (int i = 0; i < rows.count; i++) addRow(i);
        return;
    }
    for (int i = 1; i < rows.count - 1; i++) addRow(i);
    addRow(0);
    if (rows.count > 1) addRow(rows.count - 1);
}

/// Adds the texels first <= i < end of `columns`; `sums` begins with the first of them.
ONDRIX_INLINE Colour addColumns(Colour sum, const Taps& columns, int first, int end, const float* sums) {
    if (columns.weights != nullptr) {
        for (int i = first; i < end; i++, sums += 4) sum += load(sums) * columns[i];
        return sum;
    }
    int i = first;
    if (i == 0 && i < end) sum += load(sums) * columns.firstWeight, i++, sums += 4;
    const int whole = std::min(end, columns.count - 1);
    for (; i < whole; i++, sums += 4) sum += load(sums);
    if (i < end) sum += load(sums) * columns.lastWeight;
    return sum;
}

/// Pixels x0 <= x < x1 of row y.
struct Run {
    int x0, x1, y;
};

/// Writes pixels from sums of rows and columns, in their place after multiplying by `scale`.
template <class Output>
inline void write(const Output& output, Format inputFormat, const Run& run, const Colour* sums, float scale) {
    const bool isBytes = isFourPlainBytes(inputFormat);
    const bool toBytes = isBytes && isFourPlainBytes(static_cast<Format>(output.view.format));
    if (isBytes && !toBytes) scale *= unormScale;
    for (int x = run.x0; x < run.x1; x += lanes::count, sums += lanes::count) {
        const Position at{x, run.y, std::min(run.x1 - x, lanes::count)};
        ONDRIX_CHECK(checks::startPixel(x, run.y);)
        if (toBytes) {
            alignas(64) std::int32_t words[lanes::count] = {};
            for (int i = 0; i < at.count; i++) {
                typedef std::uint8_t Bytes __attribute__((vector_size(4)));
                const Colour value = sums[i] * scale + 0.5f;
                const Colour above = value > 0 ? value : Colour{}, limited = above < 255.5f ? above : Colour{} + 255.5f;
                const auto bytes = __builtin_convertvector(__builtin_convertvector(limited, lanes::Four), Bytes);
                std::memcpy(&words[i], &bytes, 4);
            }
            output.write(at, texelFromBytes(Int(lanes::load(words)), inputFormat));
            continue;
        }
        alignas(64) float components[4][lanes::count] = {};
        for (int i = 0; i < at.count; i++) {
            const Colour value = sums[i] * scale;
            for (int c = 0; c < 4; c++) components[c][i] = value[c];
        }
        const Float first(lanes::load(components[0])), second(lanes::load(components[1])),
            third(lanes::load(components[2])), alpha(lanes::load(components[3]));
        output.write(at, isBytes && isBlueFirst(inputFormat) ? Float4{third, second, first, alpha}
                                                             : Float4{first, second, third, alpha});
    }
}

/// Draws a part of a row; `across` begins with its first pixel.
template <class Output>
inline void row(const TextureView& image, const Table& across, const Taps& rows, const Run& run, float scale,
                const Output& output) {
    const auto format = static_cast<Format>(image.format);
    alignas(64) float sums[4 * summedTexels];
    Colour colours[pixelsAtOnce];
    for (int x = run.x0; x < run.x1;) {
        const Taps taps = across[x - run.x0];
        int next = x;
        if (taps.count > summedTexels) {
            Colour sum{};
            for (int first = 0; first < taps.count; first += summedTexels) {
                const int end = std::min(first + summedTexels, taps.count);
                sumRows(image, rows, taps.first + first, end - first, sums);
                sum = addColumns(sum, taps, first, end, sums);
            }
            colours[0] = sum;
            next++;
        } else {
            int end = taps.end();
            for (next++; next < run.x1 && next - x < pixelsAtOnce; next++) {
                const Taps following = across[next - run.x0];
                if (following.first < taps.first || following.end() > taps.first + summedTexels) break;
                end = std::max(end, following.end());
            }
            sumRows(image, rows, taps.first, end - taps.first, sums);
            for (int i = x; i < next; i++) {
                const Taps own = across[i - run.x0];
                // Others might write the table meanwhile.
                const bool isSummed = own.first >= taps.first && own.end() <= end;
                colours[i - x] =
                    isSummed ? addColumns(Colour{}, own, 0, own.count, sums + 4 * (own.first - taps.first)) : Colour{};
            }
        }
        write(output, format, {x, next, run.y}, colours, scale);
        x = next;
    }
}

/// Opaque black from column `x` to `end`.
template <class Output>
inline void fill(const Output& output, int y, int x, int end) {
    for (; x < end; x += lanes::count) {
        ONDRIX_CHECK(checks::startPixel(x, y);)
        output.write(Position{x, y, std::min(end - x, lanes::count)}, Float4{0, 0, 0, 1});
    }
}

}  // namespace ondrix::shading::resampling
