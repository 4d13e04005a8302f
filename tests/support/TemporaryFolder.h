#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ondrix::test {

inline std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// A new folder that goes with everything in it when this goes.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "ondrix-test-XXXXXX").native();
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = std::filesystem::canonical(name);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// Makes the folder `name` and the folders above it.
    [[nodiscard]] std::filesystem::path makeFolder(std::string_view name) const {
        std::filesystem::create_directories(path_ / name);
        return path_ / name;
    }
    /// Writes `content` to the file `name`, replacing it.
    [[nodiscard]] std::filesystem::path write(std::string_view name, std::string_view content) const {
        std::filesystem::create_directories((path_ / name).parent_path());
        std::ofstream(path_ / name, std::ios::binary | std::ios::trunc) << content;
        return path_ / name;
    }

private:
    std::filesystem::path path_;
};

}  // namespace ondrix::test
