#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ondrix::tools {

/// True for pipes, terminals and the like, which may keep a reader waiting for ever.
[[nodiscard]] bool isSpecialFile(const std::string& path);

/// All that comes from a special file until its writer closes it, or the first `maximumBytes` of it. Throws
/// `Interrupted` as soon as the user ends the program meanwhile, and `Failure` where it can't be read. For the main
/// thread, while no `Interruption` exists.
[[nodiscard]] std::vector<std::uint8_t> readSpecialFile(const std::string& path, std::size_t maximumBytes);

}  // namespace ondrix::tools
