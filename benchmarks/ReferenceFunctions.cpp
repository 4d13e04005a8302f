// The references of the rows that run functions on the pixels.

#include <cmath>

#include "Reference.h"
#include "ReferenceMath.h"

namespace ondrix::benchmarks {

namespace {

struct Applied {
    double value;

    double operator()(const Levels& levels) const { return value * levels.gain + levels.offset; }
    double operator()(const Square&) const { return value * value; }
    double operator()(const MixInverse& settings) const {
        return value * (1.0 - settings.amount) + (1.0 - value) * settings.amount;
    }
};

}  // namespace

Frame pointChained(const Frame& input) {
    std::uint8_t results[256];
    for (int level = 0; level < 256; ++level) {
        std::uint8_t result = static_cast<std::uint8_t>(level);
        for (const PointOperation& operation : pointChain) {
            result = toLevel(255.0 * std::visit(Applied{result / 255.0}, operation));
        }
        results[level] = result;
    }
    Frame output(input.width(), input.height(), 4);
    for (int y = 0; y < output.height(); ++y) {
        for (int i = 0; i < output.width() * 4; ++i) output.row(y)[i] = results[input.row(y)[i]];
    }
    return output;
}

Frame convolved(const Frame& input) {
    Frame output(input.width(), input.height(), 4);
    std::vector<double> sums(static_cast<std::size_t>(output.width() * 4));
    for (int y = 0; y < output.height(); ++y) {
        std::fill(sums.begin(), sums.end(), 0.0);
        for (int down = -2; down <= 2; ++down) {
            if (y + down < 0 || y + down >= input.height()) continue;
            const std::uint8_t* in = input.row(y + down);
            for (int across = -2; across <= 2; ++across) {
                const double weight = kernel.weights[down + 2][across + 2];
                const int first = std::max(0, -across * 4);
                const int end = input.width() * 4 - std::max(0, across * 4);
                for (int i = first; i < end; ++i) sums[static_cast<std::size_t>(i)] += weight * in[i + across * 4];
            }
        }
        for (std::size_t i = 0; i < sums.size(); ++i) output.row(y)[i] = toLevel(sums[i]);
    }
    return output;
}

Frame lookedUp(const Frame& input, const Frame& table) {
    Frame output(input.width(), input.height(), 4);
    const auto neighbours = [](std::uint8_t level) {
        return Neighbours((tableSize - 1) * level / 255.0 + 0.5, tableSize);
    };
    for (int y = 0; y < output.height(); ++y) {
        for (int x = 0; x < output.width(); ++x) {
            const std::uint8_t* in = input.row(y) + 4 * x;
            const Neighbours blue = neighbours(in[0]), green = neighbours(in[1]), red = neighbours(in[2]);
            std::uint8_t* out = output.row(y) + 4 * x;
            for (int c = 0; c < 3; ++c) {
                const auto line = [&](int b, int g) {
                    const std::uint8_t* row = table.row(g) + 4 * b * tableSize + c;
                    return red.blend(row[4 * red.first], row[4 * red.second]);
                };
                const auto square = [&](int b) { return green.blend(line(b, green.first), line(b, green.second)); };
                out[c] = toLevel(blue.blend(square(blue.first), square(blue.second)));
            }
            out[3] = in[3];
        }
    }
    return output;
}

}  // namespace ondrix::benchmarks
