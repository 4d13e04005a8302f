#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>

namespace ondrix::tools {

/// `ondrix new`: writes a small project, a program with one GPU function, into a new folder. The folder appears with
/// all of its files or not at all.
class NewCommand {
public:
    static void add(CLI::App& program);

private:
    void run() const;
    /// Puts the project's files into an empty folder.
    void write(const std::filesystem::path& folder) const;

    std::string name_;  ///< of the folder, the program and its function's namespace
};

}  // namespace ondrix::tools
