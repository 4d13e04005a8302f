#pragma once

#include <filesystem>
#include <string>

namespace ondrix {

/// The location of a local file or folder. A plain value; nothing is looked up until the file is opened.
class URL {
public:
    URL() = default;
    /// A relative path is taken from the current folder at the time of construction.
    explicit URL(const std::filesystem::path& filePath);

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    /// "file:///..." with every byte that a URL can't hold percent-encoded.
    [[nodiscard]] std::string description() const;

    friend bool operator==(const URL&, const URL&) = default;

private:
    std::filesystem::path path_;
};

}  // namespace ondrix
