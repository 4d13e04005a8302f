#include <algorithm>
#include <charconv>
#include <cmath>
#include <iostream>
#include <numeric>

#include <ondrix/effects/EffectCatalog.h>

#include "CommandLine.h"

namespace ondrix::tools {
namespace {

using effects::EffectDescription;
using effects::Parameter;
using effects::ParameterKind;

/// What users read of a parameter's kind, in the order of `ParameterKind`.
struct KindTexts {
    const char *name, *value, *file;
};
constexpr KindTexts kindTexts[] = {
    {"number", "", ""}, {"table", "FILE.cube", "a .cube file"}, {"picture", "FILE.png|FILE.jpg", "a PNG or JPEG file"}};

const KindTexts& textsOf(const Parameter& parameter) {
    return kindTexts[static_cast<std::size_t>(parameter.kind)];
}

/// The shortest decimal text that stands for exactly this number, whatever the locale.
std::string numberText(float number) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

void printText(const EffectDescription& effect) {
    std::cout << effect.name << "\n    " << effect.summary << '\n';
    for (const Parameter& parameter : effect.parameters) {
        std::string usage = std::string(parameter.name) + '=';
        if (parameter.kind == ParameterKind::number) {
            usage += numberText(parameter.minimum) + ".." + numberText(parameter.maximum) + " (" +
                     numberText(parameter.initial) + ')';
        } else {
            usage += textsOf(parameter).value;
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
                  << ", \"summary\": " << jsonText(parameter.summary) << ", \"kind\": \"" << textsOf(parameter).name
                  << '"';
        if (parameter.kind == ParameterKind::number)
            std::cout << ", \"minimum\": " << numberText(parameter.minimum)
                      << ", \"maximum\": " << numberText(parameter.maximum)
                      << ", \"default\": " << numberText(parameter.initial);
        std::cout << '}';
        separator = ", ";
    }
    std::cout << "]}";
}

/// Lists what --effect takes, as text or as JSON.
class EffectsCommand {
public:
    explicit EffectsCommand(CLI::App& options) {
        options.add_flag("--json", json_, "Print a JSON array, one effect a line");
    }

    void run() const {
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
        finishOutput();
    }

private:
    bool json_ = false;
};

[[noreturn]] void refuse(const std::string& reason) {
    throw CLI::ValidationError("--effect", reason);
}

/// Cuts at each `mark` that no backslash stands before; the backslashes stay.
std::vector<std::string_view> split(std::string_view text, char mark) {
    std::vector<std::string_view> parts;
    std::size_t begin = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\') {
            ++at;
        } else if (text[at] == mark) {
            parts.push_back(text.substr(begin, at - begin));
            begin = at + 1;
        }
    }
    parts.push_back(text.substr(begin));
    return parts;
}

/// A backslash before anything but a mark or a backslash is itself.
std::string withoutEscapes(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isEscape = text[at] == '\\' && at + 1 < text.size() &&
                              std::string_view(",:\\").find(text[at + 1]) != std::string_view::npos;
        if (isEscape) ++at;
        result += text[at];
    }
    return result;
}

std::string quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

/// How many characters must be put in, left out or replaced to turn one text into the other.
std::size_t editDistance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

/// What to say after a name that doesn't exist: "; did you mean 'NAME'?" for one that differs by a slip or two, else
/// a list of all `names`, each of which is a `kind`.
std::string suggestion(std::string_view name, const std::vector<std::string_view>& names, const std::string& kind) {
    std::string list;
    std::string_view nearest;
    std::size_t least = std::max<std::size_t>(2, name.size() / 3) + 1;
    for (const std::string_view candidate : names) {
        list += (list.empty() ? "" : ", ") + std::string(candidate);
        const std::size_t distance = editDistance(name, candidate);
        // "blur" means "gaussian-blur", however much is missing.
        const bool isPart = name.size() > 2 && candidate.find(name) != std::string_view::npos;
        if (distance >= least && !(isPart && nearest.empty())) continue;
        least = std::min(least, distance);
        nearest = candidate;
    }
    if (names.empty()) return "; it has none";
    if (nearest.empty()) return "; the " + kind + "s are " + list;
    return "; did you mean '" + std::string(nearest) + "'?";
}

template <class Items>
const auto& find(const Items& items, std::string_view name, const std::string& complaint, const std::string& kind) {
    std::vector<std::string_view> names;
    for (const auto& item : items) {
        if (item.name == name) return item;
        names.push_back(item.name);
    }
    refuse(complaint + suggestion(name, names, kind));
}

float parseNumber(std::string_view text, const Parameter& parameter, const std::string& place) {
    const std::string range = "from " + numberText(parameter.minimum) + " to " + numberText(parameter.maximum);
    float number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool isNumber = stop == end && error != std::errc::invalid_argument && !std::isnan(number);
    if (!isNumber) refuse(place + ": " + quoted(text) + " is not a number; give one " + range);
    if (error != std::errc{} || number < parameter.minimum || number > parameter.maximum)
        refuse(place + " must be " + range + ", not " + std::string(text));
    return number;
}

EffectRequest::Setting parseSetting(std::string_view text, const EffectDescription& effect) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0)
        refuse(quoted(effect.name) + " takes key=value, separated by ':' (which in a value is '\\:'), not " +
               quoted(text));
    const std::string_view key = text.substr(0, equals);
    const Parameter& parameter =
        find(effect.parameters, key, quoted(effect.name) + " has no key " + quoted(key), "key");
    const std::string value = withoutEscapes(text.substr(equals + 1));
    const std::string place = std::string(effect.name) + ": " + std::string(key);
    if (parameter.kind == ParameterKind::number) return {&parameter, parseNumber(value, parameter, place), ""};
    if (value.empty()) refuse(place + " needs the name of a file");
    return {&parameter, 0, value};
}

void requireFiles(const EffectRequest& request) {
    for (const Parameter& parameter : request.effect->parameters) {
        bool isSet = parameter.kind == ParameterKind::number;
        for (const auto& setting : request.settings) isSet = isSet || setting.parameter == &parameter;
        if (!isSet)
            refuse(quoted(request.effect->name) + " needs " + std::string(parameter.name) + "=FILE, " +
                   textsOf(parameter).file);
    }
}

EffectRequest parseEffect(std::string_view text) {
    const std::string_view name = text.substr(0, text.find('='));
    if (name.empty()) refuse("an effect has no name; write name=key=value:key=value,name");
    EffectRequest request{&find(effects::allEffects(), name, "there is no effect " + quoted(name), "effect"), {}};
    if (name.size() < text.size()) {
        for (const std::string_view part : split(text.substr(name.size() + 1), ':')) {
            auto setting = parseSetting(part, *request.effect);
            for (const auto& other : request.settings) {
                if (other.parameter == setting.parameter)
                    refuse(quoted(name) + " is given " + quoted(setting.parameter->name) + " twice");
            }
            request.settings.push_back(std::move(setting));
        }
    }
    requireFiles(request);
    return request;
}

}  // namespace

void addEffectsCommand(CLI::App& program) {
    addCommand<EffectsCommand>(program.add_subcommand(
        "effects", "List the effects that --effect takes, with the range and the default of each parameter"));
}

void addEffectOption(CLI::App& command, std::vector<EffectRequest>& requests) {
    const auto store = [&requests](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            for (const std::string_view part : split(text, ',')) requests.push_back(parseEffect(part));
        }
    };
    command
        .add_option_function<std::vector<std::string>>(
            "--effect", store,
            "Effects on the drawn picture, in this order: name=key=value:key=value,name... ('ondrix effects' lists "
            "them; in a value \\, and \\: stand for the marks themselves); may be repeated")
        ->allow_extra_args(false)
        ->type_name("CHAIN");
}

}  // namespace ondrix::tools
