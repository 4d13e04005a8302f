#pragma once

namespace CLI {
class App;
}

/// Each of these adds one command with its options to the program. The command runs when parsing the command line comes
/// upon it, throws a `Failure` when it can't do what it was asked, and `CLI::ValidationError` for options that don't
/// fit together.
namespace ondrix::tools {

void addApplyCommand(CLI::App& program);
void addBlitCommand(CLI::App& program);
void addDevicesCommand(CLI::App& program);
void addEffectsCommand(CLI::App& program);  ///< only in a program with effects
void addNV12Command(CLI::App& program);
void addNewCommand(CLI::App& program);
void addPresentCommand(CLI::App& program);
// Only in a program that reads movies:
void addFrameCommand(CLI::App& program);
void addPlayCommand(CLI::App& program);
void addSheetCommand(CLI::App& program);
void addVideoCommand(CLI::App& program);

/// All that this program has.
inline void addCommands(CLI::App& program) {
    addDevicesCommand(program);
    addPresentCommand(program);
    addBlitCommand(program);
    addNV12Command(program);
    addApplyCommand(program);
    addNewCommand(program);
#ifdef ONDRIX_MEDIA
    addVideoCommand(program);
    addFrameCommand(program);
    addPlayCommand(program);
    addSheetCommand(program);
#endif
#ifdef ONDRIX_EFFECTS
    addEffectsCommand(program);
#endif
}

}  // namespace ondrix::tools
