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
    /// Every texture and target of the function holds a whole pack of pixels here, and `margin` pixels more on all
    /// sides; nothing is known of that when `margin` is negative.
    ONDRIX_INLINE Position(int firstX, int rowY, int pixels, int margin = -1)
        : x(firstX), y(rowY), count(pixels), originX_(firstX), originY_(rowY), margin_(margin) {}

    /// Every texture and target of the function is known to hold a whole pack of pixels here.
    ONDRIX_INLINE bool isInterior() const {
        const auto isNear = [this](int offset) __attribute__((always_inline)) {
            return offset >= -margin_ && offset <= margin_;
        };
        return margin_ >= 0 && isNear(offset_.x) && isNear(offset_.y) && x == sum(originX_, offset_.x) &&
               y == sum(originY_, offset_.y);
    }
    /// The same, where no offset was added.
    ONDRIX_INLINE bool isInteriorOrigin() const { return margin_ >= 0 && x == originX_ && y == originY_; }

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
    friend struct OffsetPosition;

    static ONDRIX_INLINE int sum(int a, int b) {
        return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
    }

    int originX_ = 0, originY_ = 0;  // where it was before offsets were added
    Offset offset_;
    int margin_ = -1;
};

/// A position with an offset added: not the function's own any more, which textures with `Reach::own` insist on.
struct OffsetPosition : Position {
    ONDRIX_INLINE OffsetPosition(const Position& p, Offset offset) : Position(p) {
        x = sum(p.x, offset.x);
        y = sum(p.y, offset.y);
        offset_ = {sum(p.offset_.x, offset.x), sum(p.offset_.y, offset.y)};
    }
};

/// What lies beyond the range of an `int` wraps, and is outside every texture.
ONDRIX_INLINE OffsetPosition operator+(const Position& p, Offset offset) {
    return {p, offset};
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

    ONDRIX_INLINE Stretch(int firstX, int rowY, int existing, int margin = -1)
        : x(firstX), y(rowY), count(existing), isInterior(margin >= 0) {}

    /// Pack `i`, which may have no pixels left.
    ONDRIX_INLINE Position pack(int i) const {
        ONDRIX_CHECK(checks::startPixel(x + i * lanes::count, y);)
        const int left = count - i * lanes::count;
        return {x + i * lanes::count, y, left < 0 ? 0 : left < lanes::count ? left : lanes::count, isInterior ? 0 : -1};
    }
};

}  // namespace ondrix::shading
