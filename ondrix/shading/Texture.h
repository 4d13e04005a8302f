#pragma once

#include <ondrix/shading/Checks.h>
#include <ondrix/shading/RowSampling.h>

namespace ondrix::shading {

/// How large a texture is, compared with what the function writes; see `Texture`.
enum class Sides { full, half };

namespace detail {
template <class T>
constexpr T option(T value) {
    return value;
}
/// The last of the options that is a T, or else `value`.
template <class T, class First, class... Rest>
constexpr T option(T value, First first, Rest... rest) {
    if constexpr (std::is_same_v<T, First>) value = first;
    return option(value, rest...);
}
template <class T, class... Options>
constexpr bool hasOption(Options...) {
    return (false || ... || std::is_same_v<T, Options>);
}
}  // namespace detail

/// A texture that a function reads. `slotIndex` is its slot; options may follow in any order. A `Format` (bgra8 without
/// one) and `Sides::half`, for a texture of half the sides such as chroma in `Texture<1, Format::rg8, Sides::half>`,
/// say what is fast; other formats and sizes work as well. `Reach::own` promises that the texture is only read at the
/// function's own position: all other ways to read it don't compile. `NearRows{above, below}` promises that only so
/// many rows around the function's own are read. The device then runs passes that follow one another on a few rows at a
/// time, while these are in a core's cache.
template <int slotIndex, auto... options>
struct Texture {
    static constexpr int slot = slotIndex;
    static constexpr Format expected = detail::option(Format::bgra8, options...);
    static constexpr Sides sides = detail::option(Sides::full, options...);
    static constexpr Reach reach =
        detail::hasOption<NearRows>(options...) ? Reach::near : detail::option(Reach::anywhere, options...);
    static constexpr NearRows nearRows = detail::option(NearRows{}, options...);
    static constexpr std::uint32_t reachNumber = shading::reachNumber(reach, nearRows);
    static_assert(reach != Reach::own || sides == Sides::full, "half the position is not the function's own");
    static_assert(nearRows.above >= 0 && nearRows.above < 256 && nearRows.below >= 0 && nearRows.below < 256 &&
                      nearRows.factor >= 1 && nearRows.factor <= 16 && nearRows.divisor >= 1 && nearRows.divisor <= 16,
                  "up to 255 rows away, and 16 rows for one");

    TextureView view;
    rows::Row row;
    int rowSampler = -1;  ///< slot of the sampler that `row` was made for
    ONDRIX_CHECK(Report* report = nullptr;)

    ONDRIX_INLINE int width() const { return view.width; }    ///< pixels
    ONDRIX_INLINE int height() const { return view.height; }  ///< pixels

    /// The pixels at these positions; zero in all four components outside the texture.
    ONDRIX_INLINE Texel read(const Position& p) const {
        ONDRIX_CHECK(if (p.count > 0) checks::read(report, slot, view, p.x, p.y, reachNumber);)
        // What is known of positions is known at half of them here.
        if constexpr (sides == Sides::half) return reading::run(view, {p.x, p.y, p.count});
        return reading::run(view, p);
    }
    ONDRIX_INLINE Texel read(const OffsetPosition& p) const {
        onlyReadAnywhere();
        return read(static_cast<const Position&>(p));
    }
    ONDRIX_INLINE Texel read(Int2 at) const {
        onlyReadAnywhere();
        ONDRIX_CHECK(checks::read(report, slot, view, at.x.v[0], at.y.v[0], reachNumber);)
        return reading::pixels(view, at);
    }

    /// Filtered; coordinates are 0...1 over the texture, (0, 0) its top-left corner.
    template <int samplerSlot>
    ONDRIX_INLINE Sampled sample(const Sampler<samplerSlot>& sampler, const Varying2& at) const {
        onlyReadAnywhere();
        ONDRIX_CHECK(checks::sample(report, slot, Float(at[0]).v[0], Float(at[1]).v[0]);)
        return Sampled(sampleAlong(sampler, at));
    }
    template <int samplerSlot>
    ONDRIX_INLINE Texel sample(const Sampler<samplerSlot>& sampler, Float2 at) const {
        onlyReadAnywhere();
        ONDRIX_CHECK(checks::sample(report, slot, at.x.v[0], at.y.v[0]);)
        return sampling::general(view, sampler.view, at);
    }

private:
    static constexpr void onlyReadAnywhere() {
        static_assert(reach != Reach::own,
                      "a texture with Reach::own is only read by read(p), p being the function's own position");
    }

    template <int samplerSlot>
    ONDRIX_INLINE Texel sampleAlong(const Sampler<samplerSlot>& sampler, const Varying2& at) const {
        const auto format = static_cast<Format>(view.format);
        if (rowSampler == samplerSlot && at.index == 0) {
            [[maybe_unused]] const int i = at.position.x - row.first, count = at.position.count;
            if (row.kind == rows::Kind::copy)
                return rows::readCopy(row.above + 4 * static_cast<std::int64_t>(i), count, format);
            if (row.kind == rows::Kind::box) {
                return rows::readBox(row.above + 8 * static_cast<std::int64_t>(i),
                                     row.below + 8 * static_cast<std::int64_t>(i), count, format);
            }
#if !defined(ONDRIX_PLAIN)
            if (row.kind == rows::Kind::blend) return rows::readBlend(row, i, format);
#endif
        }
        return sampling::straight(view, sampler.view, at);
    }
};

namespace writing {

/// A run in any format, pixel by pixel.
[[gnu::noinline]] inline void generalRun(TextureView view, int x, int y, int count, Float4 colour) {
    const auto format = static_cast<Format>(view.format);
    const int size = bytesPerPixel(format);
    alignas(64) float colours[4][lanes::count];
    lanes::store(colours[0], colour.x.v);
    lanes::store(colours[1], colour.y.v);
    lanes::store(colours[2], colour.z.v);
    lanes::store(colours[3], colour.w.v);
    std::uint8_t* pixel = view.bytes + y * view.bytesPerRow + size * static_cast<std::int64_t>(x);
    for (int i = 0; i < count && i < lanes::count; i++, pixel += size) {
        const float one[4] = {colours[0][i], colours[1][i], colours[2][i], colours[3][i]};
        encodePixel(format, one, pixel);
    }
}

/// Whether all packs that start at multiples of their size may be streamed into a texture.
inline bool canStream(const TextureView& view) {
    constexpr std::uintptr_t alignment = 4 * lanes::count;
    return !lanes::plain && reinterpret_cast<std::uintptr_t>(view.bytes) % alignment == 0 &&
           static_cast<std::uintptr_t>(view.bytesPerRow) % alignment == 0;
}

/// Four bytes a pixel. Whole packs that start at a multiple of their size are streamed when `streaming`.
ONDRIX_INLINE void bytes(const TextureView& view, int x, int y, int count, Int words, bool streaming) {
    std::uint8_t* pixels = view.bytes + y * view.bytesPerRow + 4 * static_cast<std::int64_t>(x);
    if (count >= lanes::count) {
        if (streaming && x % lanes::count == 0) {
            lanes::streamWords(pixels, words.v);
        } else {
            lanes::fetchToWrite(pixels);
            lanes::storeWords(pixels, words.v);
        }
    } else {
        alignas(64) std::uint8_t all[4 * lanes::count];
        lanes::storeWords(all, words.v);
        std::memcpy(pixels, all, 4 * static_cast<std::size_t>(count));
    }
}

ONDRIX_INLINE void run(const TextureView& view, int x, int y, int count, const Float4& colour, bool streaming) {
    const auto format = static_cast<Format>(view.format);
    if (isFourBytes(format)) return bytes(view, x, y, count, bytesFromColour(colour, format), streaming);
    if (!lanes::plain && count >= lanes::count) {
        std::uint8_t* const row = view.bytes + y * view.bytesPerRow;
        const auto byte = [](Float value) __attribute__((always_inline)) {
            return clamp(unorm8(value), 0, 255);
        };
        const auto word = [](Float value) __attribute__((always_inline)) {
            return clamp(unorm16(value), 0, 65535);
        };
        const std::int64_t at = x;
        switch (format) {
            case Format::r8:
                return lanes::storeBytes(row + at, byte(colour.x).v);
            case Format::rg8:
                return lanes::storeShorts(row + 2 * at, (byte(colour.x) | byte(colour.y) << 8).v);
            case Format::r16:
                return lanes::storeShorts(row + 2 * at, word(colour.x).v);
            case Format::rg16:
                return lanes::storeWords(row + 4 * at, (word(colour.x) | word(colour.y) << 16).v);
            default:
                break;
        }
    }
    generalRun(view, x, y, count, colour);
}

ONDRIX_INLINE void run(const TextureView& view, int x, int y, int count, const Texel& texel, bool streaming) {
    if (texel.exactFormat == view.format) {
        bytes(view, x, y, count, texel.exact, streaming);
    } else if (texel.exactFormat != 0 && isFourPlainBytes(static_cast<Format>(view.format)) &&
               isFourPlainBytes(static_cast<Format>(texel.exactFormat))) {
        bytes(view, x, y, count, swapRedAndBlue(texel.exact), streaming);
    } else {
        run(view, x, y, count, static_cast<const Float4&>(texel), streaming);
    }
}

}  // namespace writing

/// A texture that a compute function writes, each pixel at its own position and nowhere else. A texture can't be read
/// and written by the same function. `expected` is the format that writes fastest.
template <int slotIndex, Format expectedFormat = Format::bgra8>
struct Target {
    static constexpr int slot = slotIndex;
    static constexpr Format expected = expectedFormat;

    TextureView view;
    bool streaming = false;  ///< whole packs are stored past the caches
    ONDRIX_CHECK(Report* report = nullptr;)

    ONDRIX_INLINE int width() const { return view.width; }    ///< pixels
    ONDRIX_INLINE int height() const { return view.height; }  ///< pixels

    /// Stores the colours of a run; the part outside the texture is left out.
    template <class Colour>
    ONDRIX_INLINE void write(const Position& p, const Colour& colour) const {
        ONDRIX_CHECK(if (p.count > 0) checks::write(report, slot, view, p.x, p.y);)
        const Position inside = p.within(*this);
        if (p.isInterior() || inside.count == lanes::count) {
            writing::run(view, inside.x, inside.y, lanes::count, colour, streaming);
        } else if (inside.count > 0) {
            writing::run(view, inside.x, inside.y, inside.count, colour, false);
        }
    }
    /// Copies position for position where both textures have the position.
    template <class From>
    ONDRIX_INLINE void copy(const WholeRows& p, const From& from) const {
        const auto smallest = [](int a, int b, int c) { return std::min(a, std::min(b, c)); };
        const int count = smallest(p.count, width(), from.width());
        const int end = smallest(p.y + p.rows, height(), from.height());
        const auto format = static_cast<Format>(view.format);
        if (!lanes::plain && view.format == from.view.format && isBytes(format)) {
            lanes::BytesCopy copy{streaming};
            for (int y = p.y; y < end; y++) {
                copy.add(view.bytes + y * view.bytesPerRow, from.view.bytes + y * from.view.bytesPerRow,
                         static_cast<std::size_t>(count * bytesPerPixel(format)));
            }
            return copy.finish();
        }
        for (int y = p.y; y < end; y++) {
            for (int x = 0; x < count; x += lanes::count) {
                const Position at{x, y, count - x < lanes::count ? count - x : lanes::count};
                ONDRIX_CHECK(checks::startPixel(x, y);)
                write(at, from.read(at));
            }
        }
    }
    ONDRIX_INLINE void write(const Stretch& p, const StretchBytes& colours) const {
        for (int i = Stretch::packs - 1; i >= 0; i--)
            write(p.pack(i), texelFromBytes(colours.packs[i], colours.format));
    }
};

}  // namespace ondrix::shading
