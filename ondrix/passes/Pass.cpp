#include <ondrix/core/Failure.h>
#include <ondrix/passes/Pass.h>

namespace ondrix {

void Pass::set(const std::string& /*property*/, const std::any& /*value*/) {}

std::any Pass::get(const std::string& /*property*/) const {
    return {};
}

bool Pass::has(const std::string& /*property*/) const {
    return false;
}

bool Pass::encode(MTLCommandBuffer& commandBuffer, NSError* error) {
    return Failure::toldTo(error, [&] { return encode(commandBuffer); });
}

}  // namespace ondrix
