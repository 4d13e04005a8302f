#include <algorithm>
#include <cstdlib>
#include <utility>

#include <ondrix/platform/software/Primitive.h>

namespace ondrix::software {

namespace {

constexpr std::int64_t one = 256;  // side of a pixel
constexpr std::int64_t centre = one / 2;

constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t positive) {
    const std::int64_t quotient = value / positive;
    return value % positive < 0 ? quotient - 1 : quotient;
}

constexpr std::int64_t ceilingDivide(std::int64_t value, std::int64_t positive) {
    return -floorDivide(-value, positive);
}

/// a * x + b * y + c >= 0 at the centres of pixels, for a position x, y in 1/256 pixel.
HalfPlane atCentres(std::int64_t a, std::int64_t b, std::int64_t c) {
    return {a, b, floorDivide(c + (a + b) * centre, one)};
}

/// The side of the edge from `a` to `b` where the rest of a triangle of positive area lies.
HalfPlane insideOf(SnappedPoint a, SnappedPoint b) {
    const std::int64_t dx = b.x - a.x;
    const std::int64_t dy = b.y - a.y;
    const bool topLeft = dy < 0 || (dy == 0 && dx > 0);
    return atCentres(-dy, dx, dy * a.x - dx * a.y - (topLeft ? 0 : 1));
}

void setBox(Primitive& primitive, std::int64_t x0, std::int64_t x1, std::int64_t y0, std::int64_t y1) {
    primitive.x0 = static_cast<std::int32_t>(x0);
    primitive.x1 = static_cast<std::int32_t>(x1);
    primitive.y0 = static_cast<std::int32_t>(y0);
    primitive.y1 = static_cast<std::int32_t>(y1);
}

/// The half-planes of a line that is at least as wide as high, in the given coordinates.
std::array<HalfPlane, 4> wideLine(SnappedPoint start, SnappedPoint end) {
    const std::int64_t sign = end.x < start.x ? -1 : 1;
    const std::int64_t length = (end.x - start.x) * sign;
    const std::int64_t rise = (end.y - start.y) * sign;
    // Along the line: 0 <= sign * (x - start.x) < length.
    const HalfPlane fromStart = atCentres(sign, 0, -sign * start.x);
    const HalfPlane beforeEnd = atCentres(-sign, 0, sign * start.x + length - 1);
    // Across: the line's height at x, times length, lies in 256 * y <= ... < 256 * (y + 1) for the pixel row y.
    const std::int64_t height = start.y * length + (centre - start.x) * rise;
    const HalfPlane below{rise, -length, floorDivide(height, one)};
    const HalfPlane above{-rise, length, floorDivide(one * length - height - 1, one)};
    return {fromStart, beforeEnd, below, above};
}

}  // namespace

Primitive Primitive::triangle(SnappedPoint a, SnappedPoint b, SnappedPoint c) noexcept {
    Primitive primitive;
    const std::int64_t area = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    if (area == 0) return primitive;
    if (area < 0) std::swap(b, c);
    primitive.halfPlanes = {insideOf(a, b), insideOf(b, c), insideOf(c, a), HalfPlane{}};
    primitive.halfPlaneCount = 3;
    const auto [left, right] = std::minmax({a.x, b.x, c.x});
    const auto [top, bottom] = std::minmax({a.y, b.y, c.y});
    // Centres at or after the first side, and at or before the last.
    setBox(primitive, ceilingDivide(left - centre, one), floorDivide(right - centre, one) + 1,
           ceilingDivide(top - centre, one), floorDivide(bottom - centre, one) + 1);
    return primitive;
}

Primitive Primitive::line(SnappedPoint start, SnappedPoint end) noexcept {
    Primitive primitive;
    const std::int64_t dx = std::abs(end.x - start.x);
    const std::int64_t dy = std::abs(end.y - start.y);
    if (dx == 0 && dy == 0) return primitive;
    if (dx >= dy) {
        primitive.halfPlanes = wideLine(start, end);
    } else {
        primitive.halfPlanes = wideLine({start.y, start.x}, {end.y, end.x});
        for (HalfPlane& halfPlane : primitive.halfPlanes) std::swap(halfPlane.a, halfPlane.b);
    }
    primitive.halfPlaneCount = 4;
    setBox(primitive, floorDivide(std::min(start.x, end.x), one), floorDivide(std::max(start.x, end.x), one) + 1,
           floorDivide(std::min(start.y, end.y), one), floorDivide(std::max(start.y, end.y), one) + 1);
    return primitive;
}

Primitive Primitive::point(SnappedPoint position) noexcept {
    Primitive primitive;
    const std::int64_t x = floorDivide(position.x, one);
    const std::int64_t y = floorDivide(position.y, one);
    setBox(primitive, x, x + 1, y, y + 1);
    return primitive;
}

void Primitive::clamp(std::int32_t width, std::int32_t height) noexcept {
    x0 = std::max(x0, 0);
    y0 = std::max(y0, 0);
    x1 = std::min(x1, width);
    y1 = std::min(y1, height);
}

shading::Span Primitive::span(std::int32_t y) const noexcept {
    std::int64_t from = x0, to = x1;
    for (int index = 0; index < halfPlaneCount; ++index) {
        const HalfPlane& side = halfPlanes[static_cast<std::size_t>(index)];
        const std::int64_t rest = side.b * y + side.c;
        if (side.a * from + rest >= 0 && side.a * (to - 1) + rest >= 0)
            continue;  // the whole row is inside, so there is no need to divide
        if (side.a > 0) {
            from = std::max(from, ceilingDivide(-rest, side.a));
        } else if (side.a < 0) {
            to = std::min(to, floorDivide(rest, -side.a) + 1);
        } else {
            return {y, 0, 0};
        }
    }
    if (from >= to) return {y, 0, 0};
    return {y, static_cast<std::int32_t>(from), static_cast<std::int32_t>(to)};
}

namespace {

bool holdsBox(const HalfPlane& side, const Primitive& box) {
    const std::int64_t left = side.a * box.x0, right = side.a * (box.x1 - 1);
    const std::int64_t top = side.b * box.y0, bottom = side.b * (box.y1 - 1);
    return std::min(left, right) + std::min(top, bottom) + side.c >= 0;
}

/// Two triangles that are the halves of an upright rectangle: both have its box, and each begins where the other ends.
bool fillTheirBox(std::span<const Primitive> primitives) {
    if (primitives.size() != 2) return false;
    const Primitive &first = primitives[0], &second = primitives[1];
    if (first.halfPlaneCount != 3 || second.halfPlaneCount != 3 || first.x0 != second.x0 || first.x1 != second.x1 ||
        first.y0 != second.y0 || first.y1 != second.y1) {
        return false;
    }
    const HalfPlane* diagonals[2] = {};
    for (int index = 0; index < 2; ++index) {
        for (std::size_t side = 0; side < 3; ++side) {
            const HalfPlane& halfPlane = primitives[static_cast<std::size_t>(index)].halfPlanes[side];
            if (holdsBox(halfPlane, first)) continue;
            if (diagonals[index] != nullptr) return false;
            diagonals[index] = &halfPlane;
        }
        if (diagonals[index] == nullptr) return true;
    }
    const HalfPlane &a = *diagonals[0], &b = *diagonals[1];
    return a.a == -b.a && a.b == -b.b && a.c == -b.c - 1;
}

}  // namespace

int collectSpans(std::span<const Primitive> primitives, std::int32_t y0, std::int32_t y1,
                 shading::Span* spans) noexcept {
    int count = 0;
    if (fillTheirBox(primitives)) {
        const Primitive& box = primitives.front();
        for (std::int32_t y = std::max(y0, box.y0); y < std::min(y1, box.y1); ++y) {
            spans[count++] = {y, box.x0, box.x1};
        }
        return count;
    }
    for (std::int32_t y = y0; y < y1; ++y) {
        const int rowStart = count;
        for (const Primitive& primitive : primitives) {
            if (y < primitive.y0 || y >= primitive.y1) continue;
            const shading::Span span = primitive.span(y);
            if (span.x0 >= span.x1) continue;
            int place = count++;
            for (; place > rowStart && spans[place - 1].x0 > span.x0; --place) spans[place] = spans[place - 1];
            spans[place] = span;
        }
        int last = rowStart;
        for (int index = rowStart + 1; index < count; ++index) {
            if (spans[index].x0 <= spans[last].x1) {
                spans[last].x1 = std::max(spans[last].x1, spans[index].x1);
            } else {
                spans[++last] = spans[index];
            }
        }
        if (count > rowStart) count = last + 1;
    }
    return count;
}

}  // namespace ondrix::software
