#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

namespace ondrix::tools {

/// A file that appears under its name only when it is complete: it is written beside its place under a hidden name,
/// which goes away on every failure and when the program is interrupted, and `keep()` moves it. Where the name already
/// belongs to something that isn't a plain file, such as /dev/stdout, that is written to directly. One at a time, on
/// the main thread. Every failure is a `Failure` that names the file.
class OutputFile {
public:
    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    [[nodiscard]] std::FILE* stream() const noexcept { return stream_; }
    /// Where to write, for what opens files by name.
    [[nodiscard]] const std::filesystem::path& path() const noexcept {
        return temporary_.empty() ? place_ : temporary_;
    }

    /// Writes everything out to the disk and gives the file its name.
    void keep();
    /// From now on an interruption removes the unfinished file and ends the program at once, whatever it did until now.
    /// Signal handlers may call this.
    static void endAtInterruptions() noexcept;
    /// Stops with the reason that the last system call left in `errno`, or with `otherwise` when it left none.
    [[noreturn]] void failWithSystemError(const std::string& otherwise) const;

private:
    void openTemporary();

    std::string name_;                 ///< as the user wrote it
    std::filesystem::path place_;      ///< where the file will lie
    std::filesystem::path temporary_;  ///< empty when `place_` is written to directly
    std::FILE* stream_ = nullptr;
};

}  // namespace ondrix::tools
