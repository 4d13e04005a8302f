#include <CLI/CLI.hpp>
#include <iostream>
#include <new>
#include <string>

#include "ApplyCommand.h"
#include "BlitCommand.h"
#include "Complaint.h"
#include "DevicesCommand.h"
#include "Failure.h"
#include "NV12Command.h"
#include "NewCommand.h"
#include "PresentCommand.h"
#ifdef ONDRIX_EFFECTS
#include "EffectsCommand.h"
#endif
#ifdef ONDRIX_MEDIA
#include "FrameCommand.h"
#include "PlayCommand.h"
#include "SheetCommand.h"
#include "VideoCommand.h"
#endif

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;
constexpr int interrupted = 130;

}  // namespace

int main(int argc, char** argv) {
    using namespace ondrix::tools;

    CLI::App program("Runs pictures and video frames through Ondrix", "ondrix");
    program.set_version_flag("--version", "ondrix " ONDRIX_VERSION, "Print the version and exit");
    program.require_subcommand(0, 1);  // the message for none at all would stand for a misspelt one too
    DevicesCommand::add(program);
    PresentCommand::add(program);
    BlitCommand::add(program);
    NV12Command::add(program);
    ApplyCommand::add(program);
    NewCommand::add(program);
#ifdef ONDRIX_MEDIA
    VideoCommand::add(program);
    FrameCommand::add(program);
    PlayCommand::add(program);
    SheetCommand::add(program);
#endif
#ifdef ONDRIX_EFFECTS
    EffectsCommand::add(program);
#endif

    try {
        program.parse(argc, argv);
        if (program.get_subcommands().empty()) throw CLI::RequiredError("A command");
        return 0;
    } catch (const CLI::Success& success) {
        return program.exit(success);
    } catch (const CLI::ParseError& error) {
        complain(std::string(error.what()) + " (see ondrix --help)");
        return wrongUsage;
    } catch (const Interrupted& interruption) {
        complain(interruption.what());
        return interrupted;
    } catch (const Failure& failure) {
        complain(failure.what());
        return failed;
    } catch (const std::bad_alloc&) {
        complain("out of memory");
        return failed;
    }
}
