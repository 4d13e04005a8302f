#pragma once

#include <filesystem>
#include <string>

namespace ondrix::tools {

/// The first thing that a C++ compiler found wrong, put where the author of the sources can mend it: an error deep in a
/// header stands at the line of the sources that led there.
struct CompilerError {
    std::string place;    ///< "FILE:LINE", or just what the compiler named
    std::string message;  ///< one line
    std::string excerpt;  ///< the line of the source and a mark below it, each with its line end; may be empty

    /// Writes it to standard error, one line and the excerpt.
    void show() const;
    /// Reads what g++ or clang printed. The author's are the files in `folder`, named as the compiler was given it; an
    /// error at no known place is put down to `otherwise`.
    [[nodiscard]] static CompilerError parse(const std::string& output, const std::filesystem::path& folder,
                                             const std::string& otherwise);
};

}  // namespace ondrix::tools
