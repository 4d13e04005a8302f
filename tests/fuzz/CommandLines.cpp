// Command lines of the program, word by word on lines of their own: parsed, with all that options check and convert,
// but not run.
#include <CLI/CLI.hpp>
#include <sstream>
#include <vector>

#include <tools/commands/Commands.h>
#include <tools/system/Failure.h>

#include "FuzzTarget.h"

using namespace ondrix::tools;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    std::istringstream text(std::string(bytes, bytes + size));
    std::vector<std::string> words;
    for (std::string word; std::getline(text, word);) words.push_back(word);
    std::reverse(words.begin(), words.end());  // as the parser takes them

    CLI::App program("", "ondrix");
    program.require_subcommand(0, 1);
    addCommands(program);
    for (CLI::App* command : program.get_subcommands({})) {
        command->parse_complete_callback([] { throw CLI::Success(); });  // instead of running
    }
    try {
        program.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        ondrix::test::require(error.what()[0] != 0 || error.get_exit_code() == 0, "a reason");
    } catch (const Failure& failure) {
        ondrix::test::require(failure.what()[0] != 0, "a reason");
    }
    return 0;
}
