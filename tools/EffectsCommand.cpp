#include "EffectsCommand.h"

#include <iostream>
#include <memory>
#include <string>

#include <ondrix/effects/EffectCatalog.h>

#include "Failure.h"
#include "JsonText.h"
#include "NumberText.h"

namespace ondrix::tools {
namespace {

using effects::EffectDescription;
using effects::Parameter;
using effects::ParameterKind;

const char* kindOf(const Parameter& parameter) {
    switch (parameter.kind) {
        case ParameterKind::table:
            return "table";
        case ParameterKind::picture:
            return "picture";
        case ParameterKind::number:
            break;
    }
    return "number";
}

void printText(const EffectDescription& effect) {
    std::cout << effect.name << "\n    " << effect.summary << '\n';
    for (const Parameter& parameter : effect.parameters) {
        std::string usage = std::string(parameter.name) + '=';
        if (parameter.kind == ParameterKind::number) {
            usage += numberText(parameter.minimum) + ".." + numberText(parameter.maximum) + " (" +
                     numberText(parameter.initial) + ')';
        } else {
            usage += parameter.kind == ParameterKind::table ? "FILE.cube" : "FILE.png|FILE.jpg";
        }
        usage.resize(std::max<std::size_t>(usage.size(), 30), ' ');
        std::cout << "    " << usage << "  " << parameter.summary << '\n';
    }
}

void printJson(const EffectDescription& effect) {
    std::cout << "{\"name\": " << jsonText(effect.name) << ", \"summary\": " << jsonText(effect.summary)
              << ", \"parameters\": [";
    const char* separator = "";
    for (const Parameter& parameter : effect.parameters) {
        std::cout << separator << "{\"name\": " << jsonText(parameter.name)
                  << ", \"summary\": " << jsonText(parameter.summary) << ", \"kind\": \"" << kindOf(parameter) << '"';
        if (parameter.kind == ParameterKind::number)
            std::cout << ", \"minimum\": " << numberText(parameter.minimum)
                      << ", \"maximum\": " << numberText(parameter.maximum)
                      << ", \"default\": " << numberText(parameter.initial);
        std::cout << '}';
        separator = ", ";
    }
    std::cout << "]}";
}

}  // namespace

void EffectsCommand::add(CLI::App& program) {
    const auto command = std::make_shared<EffectsCommand>();
    CLI::App* const options = program.add_subcommand(
        "effects", "List the effects that --effect takes, with the range and the default of each parameter");
    options->add_flag("--json", command->json_, "Print a JSON array, one effect a line");
    options->callback([command] { command->run(); });
}

void EffectsCommand::run() const {
    const char* separator = "[";
    for (const EffectDescription& effect : effects::allEffects()) {
        if (json_) {
            std::cout << separator;
            printJson(effect);
        } else {
            printText(effect);
        }
        separator = ",\n ";
    }
    if (json_) std::cout << "]\n";
    if (!std::cout.flush()) throw Failure("standard output", "can't be written");
}

}  // namespace ondrix::tools
