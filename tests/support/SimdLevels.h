#pragma once

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <ondrix/platform/software/SimdLevel.h>

namespace ondrix::test {

/// The levels in the list `SIMD_LEVELS` of this build, whether or not this processor runs them.
inline std::vector<std::string> builtLevels() {
    std::istringstream names(SIMD_LEVELS);
    return {std::istream_iterator<std::string>(names), {}};
}

/// False for a level that the processor lacks; tests of it are skipped, not left out.
inline bool runsHere(const std::string& level) {
    const auto levels = software::simdLevels();
    return std::none_of(levels.begin(), levels.end(),
                        [&](const auto& each) { return each.name == level && !each.supported(); });
}

/// The name of a level as a part of a test's name.
inline std::string testName(std::string level) {
    std::replace(level.begin(), level.end(), '-', '_');
    return level;
}

}  // namespace ondrix::test
