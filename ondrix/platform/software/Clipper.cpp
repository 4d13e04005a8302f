#include <cmath>

#include <ondrix/platform/software/Clipper.h>

namespace ondrix::software {

namespace {

constexpr double band = 1 << 19;  // width in pixels, on each side of the target

/// The point of an edge that lies on a plane, given the ends inside and outside with their distances.
ClipPosition cut(const ClipPosition& inside, double insideDistance, const ClipPosition& outside,
                 double outsideDistance) {
    const double t = insideDistance / (insideDistance - outsideDistance);
    return {inside.x + (outside.x - inside.x) * t, inside.y + (outside.y - inside.y) * t,
            inside.z + (outside.z - inside.z) * t, inside.w + (outside.w - inside.w) * t};
}

}  // namespace

/// Returns the distance from a plane, which isn't negative on the side that is kept.
double Clipper::distance(int plane, const ClipPosition& p) const noexcept {
    switch (plane) {
        case 0:
            return p.z;
        case 1:
            return p.w - p.z;
        case 2:
            return p.x * halfWidth_ + p.w * (halfWidth_ + band);
        case 3:
            return p.w * (band - halfWidth_) - p.x * halfWidth_;
        case 4:
            return p.w * (halfHeight_ + band) - p.y * halfHeight_;
        default:
            return p.y * halfHeight_ + p.w * (band - halfHeight_);
    }
}

int Clipper::clip(Polygon& polygon, int count) const noexcept {
    for (int plane = 0; plane < planeCount && count > 0; ++plane) {
        std::array<double, maximumVertices> distances{};
        int outside = 0;
        for (int index = 0; index < count; ++index) {
            const auto place = static_cast<std::size_t>(index);
            distances[place] = distance(plane, polygon[place]);
            if (!(distances[place] >= 0)) ++outside;
        }
        if (outside == 0) continue;
        if (outside == count) return 0;
        const Polygon source = polygon;
        int kept = 0;
        const auto keep = [&](const ClipPosition& position) {
            if (kept < maximumVertices) polygon[static_cast<std::size_t>(kept++)] = position;
        };
        for (int index = 0; index < count; ++index) {
            const auto here = static_cast<std::size_t>(index);
            const auto next = static_cast<std::size_t>((index + 1) % count);
            const bool hereInside = distances[here] >= 0;
            const bool nextInside = distances[next] >= 0;
            if (hereInside) keep(source[here]);
            // A line has one edge only, from its first to its second end.
            if (hereInside == nextInside || (count == 2 && index == 1)) continue;
            keep(hereInside ? cut(source[here], distances[here], source[next], distances[next])
                            : cut(source[next], distances[next], source[here], distances[here]));
        }
        count = kept;
    }
    for (int index = 0; index < count; ++index) {
        if (!(polygon[static_cast<std::size_t>(index)].w > 0)) return 0;
    }
    return count;
}

SnappedPoint Clipper::snap(const ClipPosition& position) const noexcept {
    const double x = position.x / position.w * halfWidth_ + halfWidth_;
    const double y = halfHeight_ - position.y / position.w * halfHeight_;
    return {static_cast<std::int64_t>(std::floor(x * 256 + 0.5)), static_cast<std::int64_t>(std::floor(y * 256 + 0.5))};
}

}  // namespace ondrix::software
