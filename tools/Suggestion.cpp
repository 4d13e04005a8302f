#include "Suggestion.h"

#include <algorithm>
#include <numeric>

namespace ondrix::tools {
namespace {

/// How many characters must be put in, left out or replaced to turn one text into the other.
std::size_t editDistance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string suggestion(std::string_view name, const std::vector<std::string_view>& names, const std::string& kind) {
    std::string list;
    std::string_view nearest;
    std::size_t least = std::max<std::size_t>(2, name.size() / 3) + 1;
    for (const std::string_view candidate : names) {
        list += (list.empty() ? "" : ", ") + std::string(candidate);
        const std::size_t distance = editDistance(name, candidate);
        // "blur" means "gaussian-blur", however much is missing.
        const bool isPart = name.size() > 2 && candidate.find(name) != std::string_view::npos;
        if (distance >= least && !(isPart && nearest.empty())) continue;
        least = std::min(least, distance);
        nearest = candidate;
    }
    if (names.empty()) return "; it has none";
    if (nearest.empty()) return "; the " + kind + "s are " + list;
    return "; did you mean '" + std::string(nearest) + "'?";
}

}  // namespace ondrix::tools
