#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace ondrix::tools {

/// Confines this process before it reads what strangers made: whatever takes it over then opens no other files than
/// were allowed, starts no program, and reaches neither the network by TCP nor other processes. Linux does this
/// (Landlock), as far as the kernel knows how; without Landlock only rights can't be gained any more. Applies to the
/// calling thread and to those that it starts later, so it is entered before there are others.
class Sandbox {
public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    /// A file, or a folder with all that lies in it. Nothing happens where there is none.
    void allowReading(const std::filesystem::path& path);
    /// What an `OutputFile` of this name needs: files made, written, renamed and removed in its folder, none read.
    void allowOutput(const std::filesystem::path& file);
    /// Besides what was allowed, the system's libraries and the program's bundles stay readable. Throws `Failure` when
    /// the system refuses. There is no way back.
    void enter();

private:
    /// Allows those of these rights that a file or a folder can have.
    void allow(const std::filesystem::path& path, std::uint64_t rights);

    int version_ = 0;          ///< of the kernel's interface; 0 without
    std::uint64_t files_ = 0;  ///< rights that are taken except where they are allowed
    int rules_ = -1;           ///< descriptor
};

}  // namespace ondrix::tools
