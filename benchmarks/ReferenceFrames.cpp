// Frames of video and back.

#include <array>
#include <cstring>

#include "Reference.h"
#include "ReferenceMath.h"

namespace ondrix::benchmarks {

namespace {

using Three = std::array<double, 3>;

/// Shares of red and blue in luma.
struct Shares {
    double red, blue;
};
constexpr Shares ofBT709 = {0.2126, 0.0722}, ofBT2020 = {0.2627, 0.0593};

/// A sample, 0 to 255 with fractions for more bits.
double sampleOf(const Frame& plane, int components, int x, int y, int component) {
    if (plane.bytesPerPixel() == components) return plane.row(y)[x * components + component];
    std::uint16_t stored;
    std::memcpy(&stored, plane.row(y) + 2 * (x * components + component), 2);
    return stored / 256.0;
}

/// Red, green and blue, which may lie outside 0...1.
Three numbersAt(const Frame& luma, const Frame& chroma, int x, int y, Shares shares) {
    const Neighbours rows((y + 0.5) / 2, chroma.height()), columns(x / 2.0 + 0.5, chroma.width());
    const auto chromaOf = [&](int component) {
        const auto at = [&](int column, int row) { return sampleOf(chroma, 2, column, row, component); };
        const double value = rows.blend(columns.blend(at(columns.first, rows.first), at(columns.second, rows.first)),
                                        columns.blend(at(columns.first, rows.second), at(columns.second, rows.second)));
        return (value - 128) / 224;
    };
    const double level = (sampleOf(luma, 1, x, y, 0) - 16) / 219;
    const double red = level + 2 * (1 - shares.red) * chromaOf(1), blue = level + 2 * (1 - shares.blue) * chromaOf(0);
    return {red, (level - shares.red * red - shares.blue * blue) / (1 - shares.red - shares.blue), blue};
}

void put(Frame& output, int x, int y, const Three& colour) {
    std::uint8_t* pixel = output.row(y) + 4 * x;
    for (std::size_t i = 0; i < 3; ++i) pixel[2 - i] = toLevel(255 * colour[i]);
    pixel[3] = 255;
}

/// Light of a number of PQ, and the other way.
double lightOf(double number) {
    const double root = std::pow(number, 1 / 78.84375);
    return std::pow(std::max(root - 0.8359375, 0.0) / (18.8515625 - 18.6875 * root), 1 / 0.1593017578125);
}
double numberOf(double light) {
    const double power = std::pow(light, 0.1593017578125);
    return std::pow((0.8359375 + 18.8515625 * power) / (1 + 18.6875 * power), 78.84375);
}

}  // namespace

Frame shownNV12(const Frame& luma, const Frame& chroma) {
    Frame output(luma.width(), luma.height(), 4);
    for (int y = 0; y < output.height(); ++y) {
        for (int x = 0; x < output.width(); ++x) put(output, x, y, numbersAt(luma, chroma, x, y, ofBT709));
    }
    return output;
}

Frame writtenNV12(const Frame& picture) {
    const int width = picture.width(), height = picture.height();
    Frame output(width, height * 3 / 2, 1);
    const auto at = [&](int x, int y, int component) {
        return picture.row(y)[4 * std::clamp(x, 0, width - 1) + 2 - component] / 255.0;
    };
    const auto lumaOf = [](const Three& colour) {
        return ofBT709.red * colour[0] + (1 - ofBT709.red - ofBT709.blue) * colour[1] + ofBT709.blue * colour[2];
    };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            output.row(y)[x] = toLevel(16 + 219 * lumaOf({at(x, y, 0), at(x, y, 1), at(x, y, 2)}));
        }
    }
    for (int y = 0; y < height; y += 2) {
        for (int x = 0; x < width; x += 2) {
            Three mean;
            for (int i = 0; i < 3; ++i) {
                const auto row = [&](int line) {
                    return at(x - 1, line, i) / 4 + at(x, line, i) / 2 + at(x + 1, line, i) / 4;
                };
                mean[static_cast<std::size_t>(i)] = (row(y) + row(y + 1)) / 2;
            }
            std::uint8_t* pair = output.row(height + y / 2) + x;
            pair[0] = toLevel(128 + 224 * (mean[2] - lumaOf(mean)) / (2 - 2 * ofBT709.blue));
            pair[1] = toLevel(128 + 224 * (mean[0] - lumaOf(mean)) / (2 - 2 * ofBT709.red));
        }
    }
    return output;
}

Frame shownHDR(const Frame& luma, const Frame& chroma) {
    constexpr double white = 203.0 / 10000;
    const double peak = numberOf(0.1), most = numberOf(white) / peak, knee = 1.5 * most - 0.5;
    constexpr double toBT709[3][3] = {{1.6604910021, -0.5876411388, -0.0728498633},
                                      {-0.1245504745, 1.1328998971, -0.0083494226},
                                      {-0.0181507634, -0.1005788980, 1.1187296614}};
    Frame output(luma.width(), luma.height(), 4);
    for (int y = 0; y < output.height(); ++y) {
        for (int x = 0; x < output.width(); ++x) {
            Three light = numbersAt(luma, chroma, x, y, ofBT2020);
            double brightest = 0;
            for (double& each : light) {
                each = lightOf(std::clamp(each, 0.0, 1.0));
                brightest = std::max(brightest, each);
            }
            double gain = 1 / white;
            if (const double number = numberOf(brightest) / peak; number > knee) {
                const double t = std::min((number - knee) / (1 - knee), 1.0);
                const double bent = (2 * t * t * t - 3 * t * t + 1) * knee + (t * t * t - 2 * t * t + t) * (1 - knee) +
                                    (3 * t * t - 2 * t * t * t) * most;
                gain *= lightOf(bent * peak) / brightest;
            }
            Three colour;
            for (std::size_t i = 0; i < 3; ++i) {
                double sum = 0;
                for (std::size_t k = 0; k < 3; ++k) sum += toBT709[i][k] * light[k] * gain;
                const double a = std::clamp(sum, 0.0, 1.0);
                colour[i] = a <= 0.0031308 ? 12.92 * a : 1.055 * std::pow(a, 1 / 2.4) - 0.055;
            }
            put(output, x, y, colour);
        }
    }
    return output;
}

Frame withFrameLevels(const Frame& input) {
    Frame output(input.width(), input.height(), 4);
    for (int y = 0; y < output.height(); ++y) {
        for (int i = 0; i < 4 * output.width(); ++i) {
            output.row(y)[i] = input.row(y)[i];
            for (const Levels& levels : frameLevels) {
                output.row(y)[i] = toLevel(output.row(y)[i] * double{levels.gain} + 255 * double{levels.offset});
            }
        }
    }
    return output;
}

}  // namespace ondrix::benchmarks
