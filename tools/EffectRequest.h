#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace ondrix::effects {
struct EffectDescription;
struct Parameter;
}  // namespace ondrix::effects

namespace ondrix::tools {

/// An effect that the user asked for, with the values of some of its parameters. What it points to lives as long as the
/// process.
struct EffectRequest {
    struct Setting {
        const effects::Parameter* parameter = nullptr;
        float number = 0;  ///< in range
        std::string file;  ///< of a table or a picture
    };

    const effects::EffectDescription* effect = nullptr;
    std::vector<Setting> settings;  ///< with everything that has no default
};

/// Reads "name=key=value:key=value,name,...". In a value "\," "\:" and "\\" stand for ',' ':' and '\'. Throws
/// `CLI::ValidationError` with one line.
[[nodiscard]] std::vector<EffectRequest> parseEffects(std::string_view text);

/// Adds --effect, which may be repeated, to `command`; nothing in a program that was built without effects. `requests`
/// must live until the command line is parsed.
void addEffectOption(CLI::App& command, std::vector<EffectRequest>& requests);

}  // namespace ondrix::tools
