#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>

namespace ondrix {

/// The enumeration case whose text in `rawTexts`, listed by case index, equals `text`.
template <class Enumeration, std::size_t Count>
[[nodiscard]] constexpr std::optional<Enumeration> caseWithRawText(const std::string_view (&rawTexts)[Count],
                                                                   std::string_view text) noexcept {
    const auto found = std::find(std::begin(rawTexts), std::end(rawTexts), text);
    if (found == std::end(rawTexts)) return std::nullopt;
    return static_cast<Enumeration>(found - std::begin(rawTexts));
}

}  // namespace ondrix
