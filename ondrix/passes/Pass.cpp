#include <ondrix/passes/Pass.h>

namespace ondrix {

void Pass::set(const std::string& /*property*/, const std::any& /*value*/) {}

std::any Pass::get(const std::string& /*property*/) const {
    return {};
}

bool Pass::has(const std::string& /*property*/) const {
    return false;
}

}  // namespace ondrix
