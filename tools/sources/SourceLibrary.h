#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <ondrix/core/Device.h>

#include "CompilerError.h"
#include "tools/system/Event.h"

namespace ondrix::tools {

/// A shader library that is built from its sources, as often as wanted, for this machine's SIMD level alone. Every
/// build goes to a new temporary folder, because the modules of earlier builds may still be in use. The folders are
/// removed with this object; functions made from them stay usable. Needs a C++ compiler: the one named by CXX, else
/// g++, c++ or clang++. Used by one thread at a time.
class SourceLibrary {
public:
    struct Build {
        std::filesystem::path folder;  ///< of the library, without an error
        std::optional<CompilerError> error;
        double seconds = 0;  ///< how long the build took

        /// Hands the folder to `user` and prints "MESSAGE, built in 1.2 s". On standard error, says what didn't
        /// compile, or why `user` failed.
        void use(const std::function<void(const std::filesystem::path&)>& user, const std::string& message) const;
    };

    /// Whether `name` is a C++ file, or a folder with such files that isn't a built library.
    [[nodiscard]] static bool isSource(const std::string& name);

    /// The folder of a built library. That is `name` itself, unless `name` is a source: then a library is built from it
    /// and held by `source`. Throws as `buildOnce` does.
    [[nodiscard]] static std::filesystem::path folderOf(const std::string& name, const Device& device, const Event& end,
                                                        std::optional<SourceLibrary>& source);

    /// `name` is a source. Throws `Failure` when the file, the headers or a place for the builds is missing.
    SourceLibrary(std::string name, const Device& device);
    ~SourceLibrary();
    SourceLibrary(const SourceLibrary&) = delete;
    SourceLibrary& operator=(const SourceLibrary&) = delete;

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    /// Where its sources are saved.
    [[nodiscard]] const std::filesystem::path& watchedFolder() const noexcept { return watchedFolder_; }

    /// Builds the library anew. Absent when `end` happened first. Throws `Failure` when there is no compiler.
    [[nodiscard]] std::optional<Build> build(const Event& end);
    /// Builds the library and returns its folder. Throws `Failure` when the source doesn't compile, `Interrupted` when
    /// `end` happened.
    [[nodiscard]] std::filesystem::path buildOnce(const Event& end);

private:
    /// Finds the compiler and compiles what is the same in every build. False when `end` happened first.
    [[nodiscard]] bool prepare(const Event& end);
    [[nodiscard]] std::vector<std::string> command() const;
    [[nodiscard]] std::vector<std::string> sources() const;

    std::string name_;              ///< as the user wrote it
    std::filesystem::path folder_;  ///< of the sources, as the compiler names it
    std::filesystem::path watchedFolder_;
    std::string level_;
    std::filesystem::path builds_;  ///< a new folder of this object's own
    int buildCount_ = 0;
    std::vector<std::string> compiler_;  ///< the program and its options; empty before the first build
    bool isClang_ = false;
};

}  // namespace ondrix::tools
