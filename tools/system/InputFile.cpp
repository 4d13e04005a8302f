#include "InputFile.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "Failure.h"
#include "Interruption.h"

namespace ondrix::tools {
namespace {

struct Descriptor {
    ~Descriptor() { close(number); }
    const int number;
};

}  // namespace

bool isSpecialFile(const std::string& path) {
    std::error_code ignored;
    const auto status = std::filesystem::status(path, ignored);
    return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
           !std::filesystem::is_directory(status);
}

std::vector<std::uint8_t> readSpecialFile(const std::string& path, std::size_t maximumBytes) {
    constexpr std::size_t piece = 64 * 1024;
    const Interruption interruption;
    // Without O_NONBLOCK, opening a pipe waits for a writer and can't be interrupted.
    const Descriptor file{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    if (file.number < 0) throw Failure(path, std::generic_category().message(errno));
    std::vector<std::uint8_t> bytes;
    while (bytes.size() < maximumBytes) {
        if (!waitToRead(file.number, interruption.event(), -1)) throw Interrupted(path, "interrupted");
        const std::size_t size = bytes.size();
        bytes.resize(std::min(size + piece, maximumBytes));
        const ssize_t count = read(file.number, bytes.data() + size, bytes.size() - size);
        const int code = errno;
        bytes.resize(size + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count == 0) break;
        if (count < 0 && code != EAGAIN && code != EINTR) throw Failure(path, std::generic_category().message(code));
    }
    return bytes;
}

}  // namespace ondrix::tools
