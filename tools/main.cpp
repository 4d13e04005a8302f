#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <new>
#include <string>

#include "ApplyCommand.h"
#include "BlitCommand.h"
#include "DevicesCommand.h"
#include "Failure.h"
#include "NV12Command.h"
#include "PresentCommand.h"
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

/// Writes "ondrix: REASON" as exactly one line, whatever the reason is made of.
void complain(std::string reason) {
    const auto isControl = [](char character) { return static_cast<unsigned char>(character) < 0x20; };
    std::replace_if(reason.begin(), reason.end(), isControl, '?');
    std::fprintf(stderr, "ondrix: %s\n", reason.c_str());
}

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
#ifdef ONDRIX_MEDIA
    VideoCommand::add(program);
    FrameCommand::add(program);
    PlayCommand::add(program);
    SheetCommand::add(program);
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
