#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ondrix::tools {

/// What to say after a name that doesn't exist: "; did you mean 'NAME'?" for one that differs by a slip or two, else
/// a list of all `names`, each of which is a `kind`.
[[nodiscard]] std::string suggestion(std::string_view name, const std::vector<std::string_view>& names,
                                     const std::string& kind);

}  // namespace ondrix::tools
