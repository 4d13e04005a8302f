#include <algorithm>
#include <cmath>
#include <numbers>

#include <ondrix/passes/ResizeTable.h>

namespace ondrix {

namespace {

/// The texels of one pixel: all weights, or those of the first and the last, between which they are 1.
struct Taps {
    Int first = 0, count = 1;
    double firstWeight = 1, lastWeight = 0;
    std::vector<double> weights = {};
};

Int whole(double number, Int smallest, Int largest) {
    return std::clamp(static_cast<Int>(std::clamp(std::floor(number), -1e9, 1e9)), smallest, largest);
}

/// Ends of boxes that only rounding keeps from a texel's end.
double snapped(double place) {
    const double nearest = std::round(place);
    return std::abs(place - nearest) < 1e-9 * std::max(1.0, std::abs(place)) ? nearest : place;
}

/// What lies beyond an edge is like the texel at the edge.
Taps boxTaps(double start, double end, Int size) {
    Taps taps;
    taps.first = whole(start, 0, size - 1);
    const Int last = whole(std::ceil(end) - 1, taps.first, size - 1);
    taps.count = last - taps.first + 1;
    const bool isOne = taps.count == 1;
    taps.firstWeight = isOne ? end - start : static_cast<double>(taps.first + 1) - start;
    if (!isOne) taps.lastWeight = end - static_cast<double>(last);
    return taps;
}

Taps linearTaps(double centre, Int size) {
    const double place = std::clamp(snapped(centre - 0.5), 0.0, static_cast<double>(size - 1));
    const Int first = whole(place, 0, size - 1);
    const double after = place - static_cast<double>(first);
    return {first, after > 0 ? 2 : 1, 1 - after, after};
}

double lanczos(double distance) {
    constexpr double lobes = 3;
    if (std::abs(distance) >= lobes) return 0;
    if (distance == 0) return 1;
    const double angle = std::numbers::pi * distance;
    return lobes * std::sin(angle) * std::sin(angle / lobes) / (angle * angle);
}

Taps lanczosTaps(double centre, double ratio, Int size) {
    // Where a single pixel covers many times the picture, its edges outweigh all else.
    const double width = std::clamp(ratio, 1.0, 65536.0);
    const auto begin = static_cast<Int>(std::floor(centre - 3 * width)),
               end = static_cast<Int>(std::ceil(centre + 3 * width));
    Taps taps;
    taps.first = std::clamp<Int>(begin, 0, size - 1);
    taps.count = std::clamp<Int>(end - 1, 0, size - 1) - taps.first + 1;
    taps.weights.resize(static_cast<std::size_t>(taps.count));
    double sum = 0;
    for (Int texel = begin; texel < end; ++texel) {
        const double weight = lanczos((static_cast<double>(texel) + 0.5 - centre) / width);
        taps.weights[static_cast<std::size_t>(std::clamp<Int>(texel, 0, size - 1) - taps.first)] += weight;
        sum += weight;
    }
    for (double& weight : taps.weights) weight /= sum;
    return taps;
}

}  // namespace

ResizeTable::ResizeTable(ResizeFilter filter, Int inputLength, Int outputLength, ResizeSpan span)
    : first(whole(std::ceil(span.start - 0.5), 0, outputLength)),
      count(whole(std::ceil(span.start + span.length - 0.5), first, outputLength) - first) {
    const double ratio = static_cast<double>(inputLength) / span.length;
    if (filter == ResizeFilter::area) scale = 1 / ratio;
    const auto columns = static_cast<std::size_t>(count);
    values.resize(4 * columns);
    for (std::size_t column = 0; column < columns; ++column) {
        const double place = static_cast<double>(first + static_cast<Int>(column)) - span.start;
        const double centre = (place + 0.5) * ratio;
        Taps taps;
        switch (filter) {
            case ResizeFilter::nearest:
                taps.first = whole(snapped(centre), 0, inputLength - 1);
                break;
            case ResizeFilter::linear:
                taps = linearTaps(centre, inputLength);
                break;
            case ResizeFilter::area:
                taps = boxTaps(snapped(place * ratio), snapped((place + 1) * ratio), inputLength);
                break;
            case ResizeFilter::lanczos:
                taps = lanczosTaps(centre, ratio, inputLength);
                break;
        }
        const float entry[] = {static_cast<float>(taps.first), static_cast<float>(taps.count),
                               static_cast<float>(taps.firstWeight), static_cast<float>(taps.lastWeight)};
        std::copy(std::begin(entry), std::end(entry), values.begin() + static_cast<std::ptrdiff_t>(4 * column));
        const Int needed = 1 + (static_cast<Int>(taps.weights.size()) + 3) / 4;
        if (needed > rows) {
            rows = needed;
            values.resize(4 * columns * static_cast<std::size_t>(rows));
        }
        for (std::size_t i = 0; i < taps.weights.size(); ++i) {
            values[4 * (columns * (1 + i / 4) + column) + i % 4] = static_cast<float>(taps.weights[i]);
        }
    }
}

}  // namespace ondrix
