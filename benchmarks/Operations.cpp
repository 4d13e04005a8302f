#include "Operations.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ondrix::benchmarks {

PixelTransform fromOutput(const Turn& turn, int width, int height) {
    const double angle = turn.degrees * std::numbers::pi / 180.0;
    const double cosine = std::cos(angle) / turn.enlargement;
    const double sine = std::sin(angle) / turn.enlargement;
    const double middleX = width / 2.0;
    const double middleY = height / 2.0;
    return {cosine, sine,   middleX - cosine * middleX - sine * middleY,
            -sine,  cosine, middleY + sine * middleX - cosine * middleY};
}

Frame makeColourTable() {
    Frame table(tableSize * tableSize, tableSize, 4);
    const auto level = [](double value) {
        return static_cast<std::uint8_t>(std::lround(255.0 * std::clamp(value, 0.0, 1.0)));
    };
    constexpr double last = tableSize - 1;
    for (int green = 0; green < tableSize; ++green) {
        for (int blue = 0; blue < tableSize; ++blue) {
            for (int red = 0; red < tableSize; ++red) {
                const double r = red / last, g = green / last, b = blue / last;
                std::uint8_t* entry = table.row(green) + 4 * (blue * tableSize + red);
                entry[0] = level(0.8 * b * b + 0.3 * (1.0 - r));
                entry[1] = level(std::sqrt(g) * (0.7 + 0.3 * r));
                entry[2] = level(r * (2.0 - r) * 0.9 + 0.2 * g * b);
                entry[3] = 255;
            }
        }
    }
    return table;
}

}  // namespace ondrix::benchmarks
