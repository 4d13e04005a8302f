#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include <signal.h>

#include "commands/Commands.h"
#include "system/Failure.h"
#include "system/Interruption.h"

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which aren't ready so early
// The program's libraries take long to set themselves up, so what handles interruptions comes before them.
[[gnu::used,
  gnu::section(".preinit_array")]] void (*const beforeLibraries)() = ondrix::tools::Interruption::handleSignals;
#endif

int run(int argc, char** argv) {
    using namespace ondrix::tools;
    CLI::App program("Runs pictures and video frames through Ondrix", "ondrix");
    program.set_version_flag("--version", "ondrix " ONDRIX_VERSION, "Print the version and exit");
    program.require_subcommand(0, 1);  // with 1, a misspelt command would be reported as a missing one
    addCommands(program);

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
        return Interruption::status;
    }
}

}  // namespace

int main(int argc, char** argv) {
    ondrix::tools::Interruption::handleSignals();
    signal(SIGXFSZ, SIG_IGN);  // a file that may not grow further fails with the system's reason
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fputs("ondrix: out of memory\n", stderr);  // which needs none
    } catch (const std::exception& failure) {  // a `Failure`, or one of the system's, such as a thread that can't start
        ondrix::tools::complain(failure.what());
    }
    return failed;
}
