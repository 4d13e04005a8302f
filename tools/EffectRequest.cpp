#include "EffectRequest.h"

#include <charconv>
#include <cmath>
#include <iterator>

#include <ondrix/effects/EffectCatalog.h>

#include "NumberText.h"
#include "Suggestion.h"

namespace ondrix::tools {
namespace {

using effects::EffectDescription;
using effects::Parameter;
using effects::ParameterKind;

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
        const char* const kind = parameter.kind == ParameterKind::table ? "a .cube file" : "a PNG or JPEG file";
        if (!isSet) refuse(quoted(request.effect->name) + " needs " + std::string(parameter.name) + "=FILE, " + kind);
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

std::vector<EffectRequest> parseEffects(std::string_view text) {
    std::vector<EffectRequest> requests;
    for (const std::string_view part : split(text, ',')) requests.push_back(parseEffect(part));
    return requests;
}

void addEffectOption(CLI::App& command, std::vector<EffectRequest>& requests) {
    const auto store = [&requests](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            auto more = parseEffects(text);
            requests.insert(requests.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
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
