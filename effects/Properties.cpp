#include "Properties.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include <ondrix/effects/LookUpTable.h>

namespace ondrix::effects {

Properties::Properties(const std::vector<Parameter>& parameters) : parameters_(parameters) {
    for (const Parameter& each : parameters) {
        if (each.kind == ParameterKind::number) values_.emplace(each.name, each.initial);
    }
}

const Parameter* Properties::find(const std::string& property) const {
    const auto found = std::find_if(parameters_.begin(), parameters_.end(),
                                    [&property](const Parameter& each) { return each.name == property; });
    return found != parameters_.end() ? &*found : nullptr;
}

void Properties::set(const std::string& property, const std::any& value) {
    const Parameter* const parameter = find(property);
    if (parameter == nullptr) return;
    switch (parameter->kind) {
        case ParameterKind::number:
            if (const auto* const number = std::any_cast<float>(&value); number != nullptr && !std::isnan(*number)) {
                values_[property] = std::clamp(*number, parameter->minimum, parameter->maximum);
            }
            break;
        case ParameterKind::table:
            if (value.type() == typeid(std::shared_ptr<const LookUpTable>)) values_[property] = value;
            break;
        case ParameterKind::picture:
            if (value.type() == typeid(std::shared_ptr<Texture>)) values_[property] = value;
            break;
    }
}

std::any Properties::get(const std::string& property) const {
    const auto found = values_.find(property);
    return found != values_.end() ? found->second : std::any();
}

bool Properties::has(const std::string& property) const {
    return find(property) != nullptr;
}

float Properties::number(const std::string& property) const {
    const auto found = values_.find(property);
    assert(found != values_.end());
    return std::any_cast<float>(found->second);
}

}  // namespace ondrix::effects
