#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ondrix::effects {

/// A three-dimensional table of colours, as `.cube` files hold: colour in, colour out. Immutable.
struct LookUpTable {
    int size = 0;                  ///< entries along each of red, green and blue: 2 to 129
    float minimum[3] = {0, 0, 0};  ///< colour of the first entry along each axis
    float maximum[3] = {1, 1, 1};  ///< colour of the last
    std::vector<float> colours;    ///< 3 * size³ numbers; red varies fastest, then green

    /// Reads a `.cube` file. Null, with the reason and the line it lies in, for one that can't be read, is malformed,
    /// one-dimensional, too large or not numeric.
    [[nodiscard]] static std::shared_ptr<const LookUpTable> read(const std::filesystem::path& file,
                                                                 std::string& reason);
};

}  // namespace ondrix::effects
