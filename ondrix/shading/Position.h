#pragma once

#include <ondrix/shading/Checks.h>
#include <ondrix/shading/Vectors.h>

namespace ondrix::shading {

/// Whole pixels to the right and down.
struct Offset {
    int x = 0, y = 0;
};

/// The pixels that are worked on at once: a run of one row. Adding an offset gives the run of the neighbours.
struct Position {
    int x = 0, y = 0;  ///< first pixel
    int count = 0;     ///< pixels that exist, 0 to the size of a pack

    Position() = default;
    /// `interior` tells that every texture and target of the function holds a whole pack of pixels here.
    ONDRIX_INLINE Position(int firstX, int rowY, int pixels, bool interior = false)
        : x(firstX), y(rowY), count(pixels), interiorX_(firstX), interiorY_(rowY), interior_(interior) {}

    /// Every texture and target of the function is known to hold a whole pack of pixels here. A position that was moved
    /// since is not.
    ONDRIX_INLINE bool isInterior() const { return interior_ && x == interiorX_ && y == interiorY_; }

    /// The part of the run that lies inside a texture; may be empty.
    template <class T>
    ONDRIX_INLINE Position within(const T& texture) const {
        if (isInterior()) return *this;
        if (y < 0 || y >= texture.height() || x < 0) return {x, y, 0};
        const int inside = texture.width() - x;
        return {x, y, inside < 0 ? 0 : inside < count ? inside : count};
    }

    /// Whether a texture of this size holds a whole pack of pixels from here on.
    ONDRIX_INLINE bool wholePackIn(int width, int height) const {
        return isInterior() || (y >= 0 && y < height && x >= 0 && x < width && x + lanes::count <= width);
    }

    /// The single pixels.
    ONDRIX_INLINE operator Int2() const { return {Int(lanes::iota()) + x, Int(y)}; }
    /// Their centres, in pixels.
    ONDRIX_INLINE Float2 center() const { return {Float(Int(lanes::iota()) + x) + 0.5f, Float(y) + 0.5f}; }

private:
    int interiorX_ = 0, interiorY_ = 0;
    bool interior_ = false;
};

/// A position with an offset added: not the function's own any more, which textures with `Reach::own` insist on.
struct OffsetPosition : Position {
    ONDRIX_INLINE explicit OffsetPosition(const Position& moved) : Position(moved) {}
};

/// What lies beyond the range of an `int` wraps, and is outside every texture.
ONDRIX_INLINE OffsetPosition operator+(const Position& p, Offset o) {
    const auto sum = [](int a, int b) __attribute__((always_inline)) {
        return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
    };
    return OffsetPosition({sum(p.x, o.x), sum(p.y, o.y), p.count});
}

/// All positions of several rows, for compute functions that only copy; used in place of `Position`.
struct WholeRows {
    int y = 0;  ///< first row
    int rows = 0;
    int count = 0;  ///< positions of each row, from 0 on
};

/// Several packs side by side, for compute functions whose arithmetic takes so many pixels at once; used in place of
/// `Position`.
struct Stretch {
    static constexpr int packs = lanes::plain ? 1 : 4;
    static constexpr int pixels = packs * lanes::count;

    const int x, y;         ///< first pixel
    const int count;        ///< pixels that exist, 0 to `pixels`
    const bool isInterior;  ///< as in `Position`, for all packs

    ONDRIX_INLINE Stretch(int firstX, int rowY, int existing, bool interior = false)
        : x(firstX), y(rowY), count(existing), isInterior(interior) {}

    /// Pack `i`, which may have no pixels left.
    ONDRIX_INLINE Position pack(int i) const {
        ONDRIX_CHECK(checks::startPixel(x + i * lanes::count, y);)
        const int left = count - i * lanes::count;
        return {x + i * lanes::count, y, left < 0 ? 0 : left < lanes::count ? left : lanes::count, isInterior};
    }
};

}  // namespace ondrix::shading
