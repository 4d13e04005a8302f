#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

namespace ondrix::tools {

/// A file that appears under its name only when it is complete. Until then it has no name at all, so that nothing is
/// left of it however the program ends. Where the file system has no such files it lies beside its place under a hidden
/// name, locked, which goes away on every failure and when a signal ends the program; what was killed there is removed
/// by the next program that needs a hidden name. Where the name already belongs to something that isn't a plain file,
/// such as /dev/stdout, that is written to directly. One at a time, on the main thread. Every failure is a `Failure`
/// that names the file.
class OutputFile {
public:
    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    [[nodiscard]] std::FILE* stream() const noexcept { return stream_; }
    /// Where to write, for what opens files by name.
    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    /// Whether an older file has the name.
    [[nodiscard]] bool hasOlder() const;

    /// Writes everything out to the disk and gives the file its name.
    void keep();
    /// The same under the name "NAME.WORD.ENDING", which is returned; nothing happens to a file of the usual name.
    [[nodiscard]] std::string keepAs(const std::string& word);
    /// Removes an unfinished file. For signal handlers, after which the program ends.
    static void removeUnfinished() noexcept;
    /// Stops with the reason that the last system call left in `errno`, or with `otherwise` when it left none.
    [[noreturn]] void failWithSystemError(const std::string& otherwise) const;

private:
    void openTemporary();
    void takeHiddenName(const std::function<bool(const char*)>& make);
    /// Gives the complete file the name `place`.
    void name(const std::filesystem::path& place);

    std::string name_;              ///< as the user wrote it
    std::filesystem::path place_;   ///< where the file will lie
    std::filesystem::path path_;    ///< where it lies
    std::filesystem::path hidden_;  ///< the hidden name; empty when there is none
    bool isDirect_ = false;         ///< `place_` is no plain file and is written to
    std::FILE* stream_ = nullptr;
};

}  // namespace ondrix::tools
