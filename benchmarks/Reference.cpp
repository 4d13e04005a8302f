#include "Reference.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ReferenceMath.h"

namespace ondrix::benchmarks {

Frame convertedNV12(const Frame& luma, const Frame& chroma) {
    Frame output(luma.width(), luma.height(), 4);
    for (int y = 0; y < output.height(); ++y) {
        for (int x = 0; x < output.width(); ++x) {
            const double scaledLuma = 1.164 * luma.row(y)[x] / 255.0 - 0.07275;
            const std::uint8_t* blueRed = chroma.row(y / 2) + x / 2 * 2;
            const double cb = blueRed[0] / 255.0 - 0.5;
            const double cr = blueRed[1] / 255.0 - 0.5;
            std::uint8_t* pixel = output.row(y) + x * 4;
            pixel[0] = toLevel(255.0 * (scaledLuma + 2.112 * cb));
            pixel[1] = toLevel(255.0 * (scaledLuma - 0.213 * cb - 0.533 * cr));
            pixel[2] = toLevel(255.0 * (scaledLuma + 1.793 * cr));
            pixel[3] = 255;
        }
    }
    return output;
}

Frame scaled(const Frame& input, int width, int height, Placement placement) {
    Frame output(width, height, 4);
    std::vector<Neighbours> columns;
    for (int x = 0; x < width; ++x) columns.emplace_back((x + 0.5) * input.width() / width, input.width());
    for (int y = 0; y < height; ++y) {
        std::uint8_t* out = output.row(y);
        if (y < placement.firstRow() || y >= placement.endRow()) {
            for (int x = 0; x < width; ++x) out[x * 4 + 3] = 255;
            continue;
        }
        const Neighbours rows((y + 0.5 - placement.top) * input.height() / placement.height, input.height());
        const std::uint8_t* upper = input.row(rows.first);
        const std::uint8_t* lower = input.row(rows.second);
        for (int x = 0; x < width; ++x) {
            const Neighbours& column = columns[static_cast<std::size_t>(x)];
            for (int c = 0; c < 4; ++c) {
                const int left = column.first * 4 + c;
                const int right = column.second * 4 + c;
                out[x * 4 + c] = toLevel(rows.blend(column.blend(upper[left], upper[right]),  //
                                                    column.blend(lower[left], lower[right])));
            }
        }
    }
    return output;
}

Frame shrunk(const Frame& input, int width, int height) {
    Frame output(width, height, 4);
    const auto covered = [](int pixel, double ratio, int at) {
        return std::min((pixel + 1) * ratio, at + 1.0) - std::max(pixel * ratio, static_cast<double>(at));
    };
    const double across = static_cast<double>(input.width()) / width,
                 down = static_cast<double>(input.height()) / height;
    std::vector<double> sums(static_cast<std::size_t>(input.width()) * 4);
    for (int y = 0; y < height; ++y) {
        std::fill(sums.begin(), sums.end(), 0.0);
        for (int row = static_cast<int>(y * down); row < input.height() && covered(y, down, row) > 0; ++row) {
            for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += input.row(row)[i] * covered(y, down, row);
        }
        for (int x = 0; x < width; ++x) {
            double colour[4] = {};
            for (int column = static_cast<int>(x * across); column < input.width() && covered(x, across, column) > 0;
                 ++column) {
                for (int c = 0; c < 4; ++c)
                    colour[c] += sums[static_cast<std::size_t>(column * 4 + c)] * covered(x, across, column);
            }
            for (int c = 0; c < 4; ++c) output.row(y)[x * 4 + c] = toLevel(colour[c] / (across * down));
        }
    }
    return output;
}

Frame turnedQuarter(const Frame& input) {
    Frame output(input.height(), input.width(), 4);
    for (int y = 0; y < output.height(); ++y) {
        for (int x = 0; x < output.width(); ++x) {
            std::memcpy(output.row(y) + 4 * x, input.row(input.height() - 1 - x) + 4 * y, 4);
        }
    }
    return output;
}

Frame turned(const Frame& input, const PixelTransform& transform) {
    Frame output(input.width(), input.height(), 4);
    for (int y = 0; y < output.height(); ++y) {
        for (int x = 0; x < output.width(); ++x) {
            const double fromX = transform.xx * (x + 0.5) + transform.xy * (y + 0.5) + transform.x0;
            const double fromY = transform.yx * (x + 0.5) + transform.yy * (y + 0.5) + transform.y0;
            const Neighbours columns(fromX, input.width()), rows(fromY, input.height());
            const std::uint8_t* upper = input.row(rows.first);
            const std::uint8_t* lower = input.row(rows.second);
            for (int c = 0; c < 4; ++c) {
                const int left = columns.first * 4 + c;
                const int right = columns.second * 4 + c;
                output.row(y)[x * 4 + c] = toLevel(rows.blend(columns.blend(upper[left], upper[right]),  //
                                                              columns.blend(lower[left], lower[right])));
            }
        }
    }
    return output;
}

int largestDifference(const Frame& a, const Frame& b) {
    int largest = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int i = 0; i < a.width() * a.bytesPerPixel(); ++i) {
            largest = std::max(largest, std::abs(a.row(y)[i] - b.row(y)[i]));
        }
    }
    return largest;
}

}  // namespace ondrix::benchmarks
