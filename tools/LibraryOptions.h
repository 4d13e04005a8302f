#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace ondrix::tools {

/// A compute function of the user's own, which reads texture 0 and writes texture 1.
struct LibraryOptions {
    std::string library;   ///< as the user wrote it: a built library, or the source of one; empty for none
    std::string function;  ///< empty for the only one in the library
    bool watch = false;    ///< to be built again whenever the source is saved

    /// Throws a usage error when something is to be watched that isn't a source.
    void check() const;
};

/// Adds --library and --function to `command`. `options` must live until the command line is parsed.
CLI::Option* addLibraryOptions(CLI::App& command, LibraryOptions& options);
/// Adds --watch, which needs the option `library`.
void addWatchOption(CLI::App& command, LibraryOptions& options, CLI::Option* library);

}  // namespace ondrix::tools
