#include "EffectPasses.h"
#include "EffectRequest.h"

namespace ondrix::tools {

std::vector<EffectRequest> parseEffects(std::string_view) {
    throw CLI::ValidationError("--effect", "this program was built without effects");
}

void addEffectOption(CLI::App&, std::vector<EffectRequest>&) {}

std::vector<std::shared_ptr<Pass>> makeEffectPasses(Session&, const std::vector<EffectRequest>&,
                                                    const std::shared_ptr<Texture>&, const std::shared_ptr<Texture>&,
                                                    const std::string&) {
    return {};
}

}  // namespace ondrix::tools
