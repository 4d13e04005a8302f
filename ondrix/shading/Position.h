#pragma once

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
    /// Every texture and target of the function is known to hold a whole pack of pixels here.
    bool interior = false;

    friend ONDRIX_INLINE Position operator+(Position p, Offset o) { return {p.x + o.x, p.y + o.y, p.count}; }

    /// The part of the run that lies inside a texture; may be empty.
    template <class T>
    ONDRIX_INLINE Position within(const T& texture) const {
        if (interior) return *this;
        if (y < 0 || y >= texture.height() || x < 0) return {x, y, 0};
        const int inside = texture.width() - x;
        return {x, y, inside < 0 ? 0 : inside < count ? inside : count};
    }

    /// Whether a texture of this size holds a whole pack of pixels from here on.
    ONDRIX_INLINE bool wholePackIn(int width, int height) const {
        return interior || (y >= 0 && y < height && x >= 0 && x + lanes::count <= width);
    }

    /// The single pixels.
    ONDRIX_INLINE operator Int2() const { return {Int(lanes::iota()) + x, Int(y)}; }
    /// Their centres, in pixels.
    ONDRIX_INLINE Float2 center() const { return {Float(Int(lanes::iota()) + x) + 0.5f, Float(y) + 0.5f}; }
};

}  // namespace ondrix::shading
