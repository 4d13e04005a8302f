#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include <unistd.h>

#include "CommandLine.h"
#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

namespace fs = std::filesystem;

struct File {
    std::string_view path, text;
};

/// The files in the folder new/, a project of the name `placeholder` that builds as it is.
constexpr File files[] = {
#include "NewFiles.inc"
};
constexpr std::string_view placeholder = "starter";

/// Names that CMake's generators give to targets and files of their own.
constexpr std::array<std::string_view, 16> reserved{
    "all",       "CMakeFiles",     "clean",         "depend",        "edit_cache",
    "help",      "install",        "install-local", "Makefile",      "list_install_components",
    "package",   "package_source", "preinstall",    "rebuild_cache", "test",
    "ZERO_CHECK"};

/// Why a project can't have this name; empty where it can.
std::string objection(const std::string& name) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto isAllowed = [&](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '_'; };
    if (name.empty() || name.size() > 64 || !isLetter(name[0]) || !std::all_of(name.begin(), name.end(), isAllowed))
        return "'" + name + "' is not a name of 1 to 64 letters, digits, '-' and '_' that begins with a letter";
    if (std::find(reserved.begin(), reserved.end(), name) != reserved.end())
        return "'" + name + "' is a name that CMake keeps for itself";
    return {};
}

std::string withName(std::string_view text, const std::string& name) {
    std::string result(text);
    for (std::size_t at = 0; (at = result.find(placeholder, at)) != std::string::npos; at += name.size())
        result.replace(at, placeholder.size(), name);
    return result;
}

/// Writes a small project, a program with one GPU function, into a new folder. The folder appears with all of its
/// files or not at all.
class NewCommand {
public:
    explicit NewCommand(CLI::App& options) {
        options.add_option("NAME", name_, "Name of the project and of the folder that it is written to")
            ->required()
            ->check(CLI::Validator(objection, ""));
    }

    void run() const {
        std::error_code error;
        if (fs::exists(fs::symlink_status(name_, error)) &&
            !(fs::is_directory(name_, error) && fs::is_empty(name_, error)))
            throw Failure(name_, "exists already");
        const fs::path unfinished = "." + name_ + "-" + std::to_string(getpid());
        try {
            fs::create_directory(unfinished);
            write(unfinished);
            fs::rename(unfinished, name_);
        } catch (const fs::filesystem_error& failure) {
            fs::remove_all(unfinished, error);
            throw Failure(name_, failure.code().message());
        }
        std::cout << name_ << " is ready:\n    cd " << name_ << "\n    cmake -S . -B build && cmake --build build\n";
    }

private:
    /// Puts the project's files into an empty folder.
    void write(const fs::path& folder) const {
        for (const File& file : files) {
            const fs::path path = folder / withName(file.path, name_);
            fs::create_directories(path.parent_path());
            std::ofstream stream(path, std::ios::binary);
            stream << withName(file.text, name_);
            if (!stream.flush()) throw fs::filesystem_error("", path, std::make_error_code(std::errc::io_error));
        }
    }

    std::string name_;  ///< of the folder, the program and its function's namespace
};

}  // namespace

void addNewCommand(CLI::App& program) {
    addCommand<NewCommand>(program.add_subcommand("new", "Begin a project: a program with a GPU function of its own"));
}

}  // namespace ondrix::tools
