#pragma once

#include <ondrix/shading/Position.h>
#include <ondrix/shading/Texel.h>

/// Reading pixels of any format by position. Positions outside a texture read as zero in all four components.
namespace ondrix::shading::reading {

/// The pixels first <= i < last of a pack that lie inside a texture; none when first >= last.
struct Part {
    std::int64_t first, last;
};
inline Part partInside(const TextureView& view, std::int64_t x, int y, int count) {
    if (y < 0 || y >= view.height) return {0, 0};
    const std::int64_t pixels = count < lanes::count ? count : lanes::count;
    return {x < 0 ? -x : 0, pixels < view.width - x ? pixels : view.width - x};
}

/// Pixels of a run that lie inside the texture, as words of four bytes; 0 elsewhere.
[[gnu::noinline]] inline lanes::Ints clippedWords(TextureView view, int x, int y, int count) {
    alignas(64) std::uint8_t words[4 * lanes::count] = {};
    const Part part = partInside(view, x, y, count);
    if (part.first < part.last) {
        std::memcpy(words + 4 * part.first, view.bytes + y * view.bytesPerRow + 4 * (x + part.first),
                    static_cast<std::size_t>(4 * (part.last - part.first)));
    }
    return lanes::loadWords(words);
}

/// Like `clippedWords`, for formats of `size` bytes a pixel up to 2: pixel i in bytes size * i and following.
struct Run {
    alignas(64) std::uint8_t bytes[16 * lanes::count + 64];
};
[[gnu::noinline]] inline void clippedRun(TextureView view, int size, int x, int y, int count, Run& run) {
    std::memset(run.bytes, 0, sizeof run.bytes);
    const Part part = partInside(view, x, y, count);
    if (part.first < part.last) {
        std::memcpy(run.bytes + size * part.first, view.bytes + y * view.bytesPerRow + size * (x + part.first),
                    static_cast<std::size_t>(size * (part.last - part.first)));
    }
}

/// A run in any format, pixel by pixel.
[[gnu::noinline]] inline Float4 generalRun(TextureView view, int x, int y, int count) {
    const auto format = static_cast<Format>(view.format);
    const int size = bytesPerPixel(format);
    alignas(64) float colours[4][lanes::count] = {};
    const Part part = partInside(view, x, y, count);
    for (std::int64_t i = part.first; i < part.last; i++) {
        float colour[4];
        decodePixel(format, view.bytes + y * view.bytesPerRow + size * (x + i), colour);
        for (int c = 0; c < 4; c++) colours[c][i] = colour[c];
    }
    return {Float(lanes::load(colours[0])), Float(lanes::load(colours[1])), Float(lanes::load(colours[2])),
            Float(lanes::load(colours[3]))};
}

/// Single pixels in any format; all positions must lie inside the texture.
[[gnu::noinline]] inline Float4 generalPixels(TextureView view, lanes::Ints x, lanes::Ints y) {
    const auto format = static_cast<Format>(view.format);
    const int size = bytesPerPixel(format);
    alignas(64) float colours[4][lanes::count];
    for (int i = 0; i < lanes::count; i++) {
        float colour[4];
        decodePixel(format, view.bytes + y[i] * view.bytesPerRow + size * static_cast<std::int64_t>(x[i]), colour);
        for (int c = 0; c < 4; c++) colours[c][i] = colour[c];
    }
    return {Float(lanes::load(colours[0])), Float(lanes::load(colours[1])), Float(lanes::load(colours[2])),
            Float(lanes::load(colours[3]))};
}

#if !defined(ONDRIX_PLAIN)

/// Whether texels of bgra8, rgba8, rgba16f or rgba32f all begin at multiples of 4 bytes, up to 2^31 - 1 times 4.
ONDRIX_INLINE bool areGathered(const TextureView& view) {
    const auto format = static_cast<Format>(view.format);
    return (isFourPlainBytes(format) || format == Format::rgba16f || format == Format::rgba32f) &&
           view.bytesPerRow % 4 == 0 && view.bytesPerRow / 4 * view.height <= INT32_MAX;
}

/// What `decodeHalf` gives for the lower half of each lane, whose upper half is 0.
ONDRIX_INLINE Float fromHalf(Int half) {
    const Int magnitude = (half & 0x7fff) << 13;
    const Int number = asInt(asFloat(magnitude) * 0x1p112f);
    return asFloat(select(magnitude < 0x7c00 << 13, number, magnitude | 0x7f800000) | (half & 0x8000) << 16);
}

/// The components of rgba16f or rgba32f texels, of each pixel in four lanes side by side, from `texelsOfFour`.
template <Format format>
ONDRIX_INLINE Float components(lanes::Ints texels) {
    if constexpr (format == Format::rgba32f) return asFloat(Int(texels));
    return fromHalf(Int(lanes::interleaveHalves<0>(texels, lanes::Ints{})));
}

/// The colours of pixels whose components lie in four lanes side by side: `packOf` gives those of lane k of every four.
template <class PackOf>
ONDRIX_INLINE Float4 turned(const PackOf& packOf) {
    const auto pack = [&]<int k>(std::integral_constant<int, k> lane) __attribute__((always_inline)) {
        return asInt(packOf(lane)).v;
    };
    lanes::Ints channels[4];
    lanes::transpose({pack(std::integral_constant<int, 0>{}), pack(std::integral_constant<int, 1>{}),
                      pack(std::integral_constant<int, 2>{}), pack(std::integral_constant<int, 3>{})},
                     channels);
    return {asFloat(Int(channels[0])), asFloat(Int(channels[1])), asFloat(Int(channels[2])), asFloat(Int(channels[3]))};
}

/// Like `generalPixels`, for textures that `areGathered` is true for.
template <Format format>
[[gnu::noinline]] inline Float4 gatheredPixels(TextureView view, lanes::Ints x, lanes::Ints y) {
    constexpr int size = bytesPerPixel(format);
    alignas(64) std::int32_t at[lanes::count];
    lanes::store(at, (Int(y) * static_cast<int>(view.bytesPerRow / 4) + Int(x) * (size / 4)).v);
    return turned([&]<int k>(std::integral_constant<int, k>) __attribute__((always_inline)) {
        return components<format>(lanes::texelsOfFour<k, size>(view.bytes, at));
    });
}

#endif

/// Single pixels of an 8-bit format as four bytes; one- and two-byte formats give red, green, 0, 255. Positions inside
/// only.
ONDRIX_INLINE Int pixelBytes(const TextureView& view, Int x, Int y) {
    const auto format = static_cast<Format>(view.format);
    if (isFourBytes(format)) {
        return Int(lanes::gather(view.bytes, (y * static_cast<int>(view.bytesPerRow / 4) + x).v));
    }
    const int size = bytesPerPixel(format);
    lanes::Ints words{};
    for (int i = 0; i < lanes::count; i++) {
        const std::uint8_t* pixel = view.bytes + y.v[i] * view.bytesPerRow + size * static_cast<std::int64_t>(x.v[i]);
        words[i] = static_cast<std::int32_t>(pixel[0] | (size == 2 ? pixel[1] << 8 : 0) | 0xff000000u);
    }
    return Int(words);
}

ONDRIX_INLINE Texel run(const TextureView& view, const Position& p) {
    const auto format = static_cast<Format>(view.format);
    const int x = p.x, y = p.y, count = p.count;
    const bool inside = p.wholePackIn(view.width, view.height);
    const std::uint8_t* row = view.bytes + y * view.bytesPerRow;
    if (isFourBytes(format)) {
        if (p.isInteriorOrigin()) lanes::fetchToRead(row + 4 * static_cast<std::int64_t>(x));
        const lanes::Ints words =
            inside ? lanes::loadWords(row + 4 * static_cast<std::int64_t>(x)) : clippedWords(view, x, y, count);
        return texelFromBytes(Int(words), format);
    }
    if (format == Format::r8 && inside) {
        return {{Float(Int(lanes::loadBytes(row + x))) * unormScale, 0, 0, 1}, {}, 0};
    }
    if (format == Format::rg8 && inside) {
        const Int pairs(lanes::loadShorts(row + 2 * static_cast<std::int64_t>(x)));
        return {{Float(pairs & 255) * unormScale, Float(pairs >> 8) * unormScale, 0, 1}, {}, 0};
    }
    if (format == Format::r16 && inside) {
        const Int words(lanes::loadShorts(row + 2 * static_cast<std::int64_t>(x)));
        return {{Float(words) * unorm16Scale, 0, 0, 1}, {}, 0};
    }
    if (format == Format::rg16 && inside) {
        const lanes::Ints pairs = lanes::loadWords(row + 4 * static_cast<std::int64_t>(x));
        return {{Float(Int(pairs & 65535)) * unorm16Scale,
                 Float(Int(lanes::shiftRightLogical<16>(pairs))) * unorm16Scale, 0, 1},
                {},
                0};
    }
    if (format == Format::r32f && inside) {
        float values[lanes::count];
        std::memcpy(values, row + 4 * static_cast<std::int64_t>(x), sizeof values);
        return {{Float(lanes::load(values)), 0, 0, 1}, {}, 0};
    }
    return {generalRun(view, x, y, count), {}, 0};
}

/// Single pixels anywhere.
ONDRIX_INLINE Texel pixels(const TextureView& view, Int2 at) {
    const auto format = static_cast<Format>(view.format);
    const Mask inside = (at.x >= 0) & (at.y >= 0) & (at.x < view.width) & (at.y < view.height);
    const Int x = clamp(at.x, 0, view.width - 1), y = clamp(at.y, 0, view.height - 1);
    if (isFourBytes(format)) return texelFromBytes(select(inside, pixelBytes(view, x, y), Int(0)), format);
    const Float4 colours = [&]() __attribute__((always_inline)) {
#if !defined(ONDRIX_PLAIN)
        if (format == Format::rgba32f && areGathered(view)) return gatheredPixels<Format::rgba32f>(view, x.v, y.v);
        if (format == Format::rgba16f && areGathered(view)) return gatheredPixels<Format::rgba16f>(view, x.v, y.v);
#endif
        return generalPixels(view, x.v, y.v);
    }
    ();
    return {select(inside, colours, Float4{0, 0, 0, 0}), {}, 0};
}

}  // namespace ondrix::shading::reading
