#pragma once

#include <ondrix/platform/metal/MTLSampler.h>
#include <ondrix/shading/Reading.h>

namespace ondrix::shading {

/// How a texture is filtered and addressed.
template <int slotIndex>
struct Sampler {
    static constexpr int slot = slotIndex;
    SamplerView view;
};

/// A value interpolated over a primitive, one number a component; becomes a plain vector as soon as it is computed
/// with. Handed to `Texture::sample` as it is, it samples faster, since it is known to lie on a straight line.
template <int components>
struct Varying {
    double row[components];         ///< at the centre of pixel 0 of the row
    double columnStep[components];  ///< from a pixel to its right neighbour
    double rowStep[components];     ///< from a pixel to the one below
    double inverseW, inverseWStep;  ///< the divisor likewise
    bool perspective;               ///< whether there is one
    int index;                      ///< which of the function's varyings it is
    Position position;

    ONDRIX_INLINE Float operator[](int component) const {
        const lanes::Doubles column = __builtin_convertvector((Int(lanes::iota()) + position.x).v, lanes::Doubles);
        lanes::Doubles value = row[component] + column * columnStep[component];
        if (perspective) value = value / (inverseW + column * inverseWStep);
        return Float(__builtin_convertvector(value, lanes::Floats));
    }
};

struct Varying1 : Varying<1> {
    ONDRIX_INLINE operator Float() const { return (*this)[0]; }
};
struct Varying2 : Varying<2> {
    ONDRIX_INLINE operator Float2() const { return {(*this)[0], (*this)[1]}; }
};
struct Varying3 : Varying<3> {
    ONDRIX_INLINE operator Float3() const { return {(*this)[0], (*this)[1], (*this)[2]}; }
};
struct Varying4 : Varying<4> {
    ONDRIX_INLINE operator Float4() const { return {(*this)[0], (*this)[1], (*this)[2], (*this)[3]}; }
};

}  // namespace ondrix::shading

/// Filtering. Linear weights lie on a grid of 1/256 texel: the position between texel centres is
/// floor(256 * coordinate * size - 127.5) / 256. Texels are blended vertically, then horizontally; for plain 8-bit
/// formats all sums are exact integers, so no order of computing changes a bit, and 1:1 copies are copies.
namespace ondrix::shading::sampling {

/// Brings a texel number into the texture by the address mode; `outside` collects those that show the border colour.
ONDRIX_INLINE Int address(Int i, int size, MTLSamplerAddressMode mode, Mask& outside) {
    const auto remainder = [](Int a, int divisor) __attribute__((always_inline)) {
        const lanes::Ints r = a.v % divisor;
        return Int(r < 0 ? r + divisor : r);
    };
    switch (mode) {
        case MTLSamplerAddressMode::repeat:
            return remainder(i, size);
        case MTLSamplerAddressMode::mirrorRepeat: {
            const Int m = remainder(i, 2 * size);
            return min(m, Int(2 * size - 1) - m);
        }
        case MTLSamplerAddressMode::mirrorClampToEdge:
            return min(max(i, Int(-1) - i), size - 1);
        case MTLSamplerAddressMode::clampToZero:
        case MTLSamplerAddressMode::clampToBorderColor:
            outside = outside | (i < 0) | (i >= size);
            break;
        case MTLSamplerAddressMode::clampToEdge:
            break;
    }
    return clamp(i, 0, size - 1);
}

/// Both address modes and the border colour of one lookup.
struct Border {
    bool possible = false;  ///< some mode shows a border
    std::uint32_t bytes = 0;
    float colour = 0, alpha = 0;

    ONDRIX_INLINE explicit Border(const SamplerView& sampler) {
        const auto mode = [](std::uint8_t raw) { return static_cast<MTLSamplerAddressMode>(raw); };
        const auto shows = [&](std::uint8_t raw) {
            return mode(raw) == MTLSamplerAddressMode::clampToZero ||
                   mode(raw) == MTLSamplerAddressMode::clampToBorderColor;
        };
        possible = shows(sampler.sAddressMode) || shows(sampler.tAddressMode);
        const bool zero = mode(sampler.sAddressMode) == MTLSamplerAddressMode::clampToZero ||
                          mode(sampler.tAddressMode) == MTLSamplerAddressMode::clampToZero;
        const auto border = static_cast<MTLSamplerBorderColor>(sampler.borderColor);
        if (zero || border == MTLSamplerBorderColor::transparentBlack) return;
        const bool white = border == MTLSamplerBorderColor::opaqueWhite;
        bytes = white ? 0xffffffffu : 0xff000000u;
        colour = white ? 1.0f : 0.0f;
        alpha = 1.0f;
    }
};

/// The texel at whole texel numbers.
ONDRIX_INLINE Texel nearest(const TextureView& view, const SamplerView& sampler, Int x, Int y) {
    const Border border(sampler);
    Mask outside{};
    x = address(x, view.width, static_cast<MTLSamplerAddressMode>(sampler.sAddressMode), outside);
    y = address(y, view.height, static_cast<MTLSamplerAddressMode>(sampler.tAddressMode), outside);
    Texel texel = reading::pixels(view, {x, y});
    if (border.possible) {
        static_cast<Float4&>(texel) =
            select(outside, Float4{border.colour, border.colour, border.colour, border.alpha}, texel);
        texel.exact = select(outside, Int(static_cast<std::int32_t>(border.bytes)), texel.exact);
    }
    return texel;
}

#if !defined(ONDRIX_PLAIN)

/// Blends two lines of pixels: every 16 bytes of each pair hold the numbers of one pixel in turn, those of the line
/// above and of the line below, 256 times a level less 32768. `weights` are those of the lines, in halves, for each
/// pair; `inOrder` puts pixels into order that lie in lanes like the pairs' 16 bytes.
template <class Order>
ONDRIX_INLINE Texel blendLines(const lanes::Ints (&pairs)[4], const lanes::Ints (&weights)[4], Format format,
                               const Order& inOrder) {
    lanes::Ints sums[4], rounded[4], channels[4];
    for (int i = 0; i < 4; i++) {
        sums[i] = lanes::multiplyPairs(pairs[i], weights[i]) + 32768 * 256;
        rounded[i] = lanes::shiftRightLogical<16>(sums[i] + 32768);
    }
    lanes::transpose(sums, channels);
    Texel texel = texelFromSums(Int(inOrder(channels[0])), Int(inOrder(channels[1])), Int(inOrder(channels[2])),
                                Int(inOrder(channels[3])), format);
    texel.exact = Int(inOrder(lanes::packWords(rounded[0], rounded[1], rounded[2], rounded[3])));
    return texel;
}

#endif

/// Blends four texels of plain bytes, given as words, at weights of 0 to 255 in 1/256. A right texel of weight 0 may be
/// anything.
ONDRIX_INLINE Texel blendBytes(Int topLeft, Int topRight, Int bottomLeft, Int bottomRight, Int weightX, Int weightY,
                               Format format) {
#if defined(ONDRIX_PLAIN)
    const auto sum = [&](const auto& byteOf) {
        const Int top = byteOf(topLeft) * (Int(256) - weightX) + byteOf(topRight) * weightX;
        const Int bottom = byteOf(bottomLeft) * (Int(256) - weightX) + byteOf(bottomRight) * weightX;
        return top * (Int(256) - weightY) + bottom * weightY;
    };
    return texelFromSums(sum([](Int v) { return Int(lanes::byteOf<0>(v.v)); }),
                         sum([](Int v) { return Int(lanes::byteOf<1>(v.v)); }),
                         sum([](Int v) { return Int(lanes::byteOf<2>(v.v)); }),
                         sum([](Int v) { return Int(lanes::byteOf<3>(v.v)); }), format);
#else
    // A byte can't hold a weight of 256, but twice the left texel amounts to that.
    const Mask onLeft = weightX == 0;
    const Int columnWeights = select(onLeft, Int(0x80800000), ((Int(256) - weightX) | weightX << 8) << 16);
    const lanes::Ints firstWeights = lanes::upperHalvesOfPairs<0>(columnWeights.v);
    const lanes::Ints secondWeights = lanes::upperHalvesOfPairs<1>(columnWeights.v);
    const auto blendColumns = [&](Int left, Int right, lanes::Ints & first, lanes::Ints & second)
        __attribute__((always_inline)) {
        const Int signs(0x80808080);  // bytes less 128, as signed numbers
        const lanes::Ints l = (left ^ signs).v, r = (select(onLeft, left, right) ^ signs).v;
        first = lanes::multiplyBytePairs(firstWeights, lanes::interleaveBytes<0>(l, r));
        second = lanes::multiplyBytePairs(secondWeights, lanes::interleaveBytes<1>(l, r));
    };
    lanes::Ints above[2], below[2];
    blendColumns(topLeft, topRight, above[0], above[1]);
    blendColumns(bottomLeft, bottomRight, below[0], below[1]);
    const lanes::Ints rows = ((Int(256) - weightY) | weightY << 16).v;
    return blendLines(
        {lanes::interleaveHalves<0>(above[0], below[0]), lanes::interleaveHalves<1>(above[0], below[0]),
         lanes::interleaveHalves<0>(above[1], below[1]), lanes::interleaveHalves<1>(above[1], below[1])},
        {lanes::laneOfFour<0>(rows), lanes::laneOfFour<1>(rows), lanes::laneOfFour<2>(rows),
         lanes::laneOfFour<3>(rows)},
        format, [](lanes::Ints v) __attribute__((always_inline)) { return v; });
#endif
}

/// The four texels around each position of a pack, and how far the position is from the first. Edges are clamped: the
/// right texel, which is the next one after the left, may lie outside if its weight is 0.
struct Square {
    Int left, top, bottom, weightX, weightY;

    ONDRIX_INLINE Square(const TextureView& view, Int gridX, Int gridY) {
        const Int insideX = clamp(gridX, 0, (view.width - 1) << 8), insideY = clamp(gridY, 0, (view.height - 1) << 8);
        left = insideX >> 8;
        top = insideY >> 8;
        bottom = min(top + 1, view.height - 1);
        weightX = insideX & 255;
        weightY = insideY & 255;
    }
};

/// `linear` for textures that `isClamped` is true for. They are at least two texels wide, so the left and the right
/// texel can be read together.
ONDRIX_INLINE Texel linearClamped(const TextureView& view, Int gridX, Int gridY) {
    const Square at(view, gridX, gridY);
    const int wordsPerRow = static_cast<int>(view.bytesPerRow / 4);
    const Int column = min(at.left, view.width - 2);
    Int topLeft, topRight, bottomLeft, bottomRight;
    lanes::gatherPairs(view.bytes, (at.top * wordsPerRow + column).v, topLeft.v, topRight.v);
    lanes::gatherPairs(view.bytes, (at.bottom * wordsPerRow + column).v, bottomLeft.v, bottomRight.v);
    const Mask last = at.left != column;
    return blendBytes(select(last, topRight, topLeft), topRight, select(last, bottomRight, bottomLeft), bottomRight,
                      at.weightX, at.weightY, static_cast<Format>(view.format));
}

#if !defined(ONDRIX_PLAIN)

/// Texels of a window: what `lanes::pickWords` picks from.
inline constexpr int windowTexels = 2 * lanes::count;

/// The same for positions on a straight line, if all texels around them lie in one window of `rows` rows. From each row
/// the texels that lie in it are picked, which takes less time than to read all texels one by one. The texture must be
/// at least as wide as a window.
ONDRIX_INLINE Texel linearNear(const TextureView& view, Int gridX, Int gridY, int rows) {
    const Square at(view, gridX, gridY);
    const auto lowest = [](Int v) __attribute__((always_inline)) {
        return std::min(v.v[0], v.v[lanes::count - 1]);
    };
    const int firstRow = lowest(at.top), firstColumn = std::min(lowest(at.left), view.width - windowTexels);
    const Int left = at.left - firstColumn, right = left + 1;
    const Int top = at.top - firstRow, bottom = at.bottom - firstRow;
    Int topLeft(0), topRight(0), bottomLeft(0), bottomRight(0);
    const std::uint8_t* window = view.bytes + firstRow * view.bytesPerRow + 4 * static_cast<std::int64_t>(firstColumn);
    const int end = std::min(rows, view.height - firstRow);
    for (int row = 0; row < end; row++, window += view.bytesPerRow) {
        const Int l(lanes::pickWords(window, left.v)), r(lanes::pickWords(window, right.v));
        topLeft = select(top == row, l, topLeft);
        topRight = select(top == row, r, topRight);
        bottomLeft = select(bottom == row, l, bottomLeft);
        bottomRight = select(bottom == row, r, bottomRight);
    }
    return blendBytes(topLeft, topRight, bottomLeft, bottomRight, at.weightX, at.weightY,
                      static_cast<Format>(view.format));
}

#endif

/// Whether `linearClamped` can be used.
ONDRIX_INLINE bool isClamped(const TextureView& view, const SamplerView& sampler) {
    constexpr auto clamped = static_cast<std::uint8_t>(MTLSamplerAddressMode::clampToEdge);
    return !lanes::plain && isFourPlainBytes(static_cast<Format>(view.format)) && view.width > 1 &&
           sampler.sAddressMode == clamped && sampler.tAddressMode == clamped;
}

/// The blend at a position in units of 1/256 texel, counted from the centre of texel 0.
ONDRIX_INLINE Texel linear(const TextureView& view, const SamplerView& sampler, Int gridX, Int gridY) {
    const auto format = static_cast<Format>(view.format);
    const auto modeX = static_cast<MTLSamplerAddressMode>(sampler.sAddressMode);
    const auto modeY = static_cast<MTLSamplerAddressMode>(sampler.tAddressMode);
    if (isClamped(view, sampler)) return linearClamped(view, gridX, gridY);
    const Int weightX = gridX & 255, weightY = gridY & 255;
    Mask outsideLeft{}, outsideRight{}, outsideTop{}, outsideBottom{};
    const Int left = address(gridX >> 8, view.width, modeX, outsideLeft);
    const Int right = address((gridX >> 8) + 1, view.width, modeX, outsideRight);
    const Int top = address(gridY >> 8, view.height, modeY, outsideTop);
    const Int bottom = address((gridY >> 8) + 1, view.height, modeY, outsideBottom);
    const Border border(sampler);
    if (isBytes(format) && !isSRGB(format)) {
        const auto fetch = [&](Int x, Int y, Mask outside) __attribute__((always_inline)) {
            const Int bytes = reading::pixelBytes(view, x, y);
            return border.possible ? select(outside, Int(static_cast<std::int32_t>(border.bytes)), bytes) : bytes;
        };
        return blendBytes(fetch(left, top, outsideLeft | outsideTop), fetch(right, top, outsideRight | outsideTop),
                          fetch(left, bottom, outsideLeft | outsideBottom),
                          fetch(right, bottom, outsideRight | outsideBottom), weightX, weightY, format);
    }
    const auto fetch = [&](Int x, Int y, Mask outside) __attribute__((always_inline)) {
        const Float4 colour = reading::pixels(view, {x, y});
        return select(outside, Float4{border.colour, border.colour, border.colour, border.alpha}, colour);
    };
    const Float below = Float(weightY) * (1.0f / 256.0f), after = Float(weightX) * (1.0f / 256.0f);
    const Float4 l =
        mix(fetch(left, top, outsideLeft | outsideTop), fetch(left, bottom, outsideLeft | outsideBottom), below);
    const Float4 r =
        mix(fetch(right, top, outsideRight | outsideTop), fetch(right, bottom, outsideRight | outsideBottom), below);
    return {mix(l, r, after), {}, 0};
}

/// At coordinates of any kind, 0...1 over the texture. Whether they enlarge or reduce isn't known from single packs, so
/// `magFilter` is used.
ONDRIX_INLINE Texel general(const TextureView& view, const SamplerView& sampler, Float2 at) {
    constexpr float limit = 1 << 30;
    const auto whole = [](Float f) __attribute__((always_inline)) {
        return Int(lanes::truncate(clamp(floor(f), -limit, limit).v));
    };
    if (static_cast<MTLSamplerMinMagFilter>(sampler.magFilter) == MTLSamplerMinMagFilter::nearest) {
        return nearest(view, sampler, whole(at.x * view.width), whole(at.y * view.height));
    }
    return linear(view, sampler, whole(at.x * view.width * 256.0f - 127.5f),
                  whole(at.y * view.height * 256.0f - 127.5f));
}

/// True when the filter for enlarging is the one to use; only asked where the two differ.
inline bool enlarges(const TextureView& view, const Varying2& at) {
    if (at.perspective) return true;
    const auto square = [&](const double* step) {
        const double x = step[0] * view.width, y = step[1] * view.height;
        return x * x + y * y;
    };
    return square(at.columnStep) <= 1 && square(at.rowStep) <= 1;
}

ONDRIX_INLINE std::uint8_t filterOf(const TextureView& view, const SamplerView& sampler, const Varying2& at) {
    if (sampler.minFilter == sampler.magFilter) return sampler.magFilter;
    return enlarges(view, at) ? sampler.magFilter : sampler.minFilter;
}

/// Start and step of a straight line of positions, such as texels or 1/256 texels, over the pixels of a row.
struct Line {
    double start, step;

    ONDRIX_INLINE lanes::Ints at(lanes::Ints column) const { return lanes::floorOfLine(start, step, column); }
    /// The same for one column.
    ONDRIX_INLINE std::int32_t at(std::int32_t column) const {
        constexpr double limit = 1 << 30;
        double d = start + static_cast<double>(column) * step;
        d = d > -limit ? d : -limit;
        d = d < limit ? d : limit;
        const auto truncated = static_cast<std::int32_t>(d);
        return truncated - (static_cast<double>(truncated) > d ? 1 : 0);
    }
};

ONDRIX_INLINE Line texelLine(const Varying2& at, int component, int size) {
    return {at.row[component] * size, at.columnStep[component] * size};
}
/// `row` and `step` as in `Varying`.
ONDRIX_INLINE Line gridLine(double row, double step, int size) {
    return {row * (256.0 * size) - 127.5, step * (256.0 * size)};
}
ONDRIX_INLINE Line gridLine(const Varying2& at, int component, int size) {
    return gridLine(at.row[component], at.columnStep[component], size);
}

/// At straight lines of coordinates; positions are computed in double precision.
ONDRIX_INLINE Texel straight(const TextureView& view, const SamplerView& sampler, const Varying2& at) {
    if (at.perspective) return general(view, sampler, Float2(at));
    const Int column = Int(lanes::iota()) + at.position.x;
    if (static_cast<MTLSamplerMinMagFilter>(filterOf(view, sampler, at)) == MTLSamplerMinMagFilter::nearest) {
        return nearest(view, sampler, Int(texelLine(at, 0, view.width).at(column.v)),
                       Int(texelLine(at, 1, view.height).at(column.v)));
    }
    const Line lineX = gridLine(at, 0, view.width), lineY = gridLine(at, 1, view.height);
    const Int gridX(lineX.at(column.v)), gridY(lineY.at(column.v));
#if !defined(ONDRIX_PLAIN)
    // Texels between a pack's first and last position, with one step more so that no rounding matters, and the texels
    // at both ends.
    constexpr double between = lanes::count / 256.0;
    constexpr int mostRows = 8;
    const double columns = std::abs(lineX.step) * between + 2, rows = std::abs(lineY.step) * between + 3;
    if (columns < windowTexels && rows < mostRows && view.width >= windowTexels && isClamped(view, sampler)) {
        return linearNear(view, gridX, gridY, static_cast<int>(rows));
    }
#endif
    return linear(view, sampler, gridX, gridY);
}

}  // namespace ondrix::shading::sampling
