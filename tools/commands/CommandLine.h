#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Commands.h"
#include "tools/drawing/EffectChain.h"
#include "tools/drawing/Picture.h"
#include "tools/drawing/Presentation.h"

/// What several commands share: options, which store into variables that live until the command line is parsed, and
/// printing.
namespace ondrix::tools {

/// Makes `subcommand` run a `Command`, whose constructor adds the options.
template <class Command>
void addCommand(CLI::App* subcommand) {
    subcommand->callback([command = std::make_shared<Command>(*subcommand)] { command->run(); });
}

/// What an option with a few named values does with a name, which `CLI::IsMember(values)` has checked.
template <class Variable, class Value>
auto storeIn(Variable& variable, const std::map<std::string, Value>& values) {
    return [&](const std::string& name) { variable = values.at(name); };
}

/// Adds --size. Any text but WIDTHxHEIGHT in range is a usage error that names the range.
CLI::Option* addSizeOption(CLI::App& command, PictureSize& size, const std::string& description);
/// Adds --mode, --rotate, --flip and --filter.
void addPresentationOptions(CLI::App& command, PresentationOptions& options);
/// Adds --filter.
void addFilterOption(CLI::App& command, PresentationOptions& options);
/// Adds --allow-playlists.
void addPlaylistOption(CLI::App& command, bool& allowsPlaylists);
/// Adds --library, --function and --trust-library; the first is returned.
CLI::Option* addLibraryOptions(CLI::App& command, LibraryOptions& options);
/// Adds --watch, which needs the option `library`.
void addWatchOption(CLI::App& command, LibraryOptions& options, CLI::Option* library);
/// Throws a usage error when something is to be watched that isn't a source.
void checkWatchOption(const LibraryOptions& options);

#ifdef ONDRIX_EFFECTS
/// Adds --effect, which may be repeated: "name=key=value:key=value,name,...". In a value "\," "\:" and "\\" stand for
/// ',' ':' and '\'.
void addEffectOption(CLI::App& command, std::vector<EffectRequest>& requests);
#else
inline void addEffectOption(CLI::App&, std::vector<EffectRequest>&) {}
#endif

/// The text as a string of JSON, in quotes; without control characters.
[[nodiscard]] std::string jsonText(std::string_view text);
/// Writes out what was printed to `std::cout`; throws `Failure` when that can't be done.
void finishOutput();

}  // namespace ondrix::tools
