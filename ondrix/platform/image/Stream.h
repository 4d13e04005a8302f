#pragma once

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>

namespace ondrix::image {

/// Closes a C stream.
struct StreamCloser {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

/// What `errno` says, without a full stop.
[[nodiscard]] inline std::string lastSystemError() {
    return std::generic_category().message(errno);
}

}  // namespace ondrix::image
